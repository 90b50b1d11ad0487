// /proc/meminfo: the memory of the machine. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace procfs {

/// Two lines of /proc/meminfo, in kB.
struct SystemRam {
    std::optional<std::int64_t> total_kb;
    std::optional<std::int64_t> available_kb; ///< buffers and cached memory included
    bool operator==(const SystemRam&) const = default;
};

/// /proc/meminfo.
SystemRam parse_system_ram(std::string_view text);

/// Figures of /proc/meminfo in kB.
struct MachineRam {
    double total{};    ///< "MemTotal:"
    double not_used{}; ///< "MemFree:", "Cached:" and "Buffers:" together
};

/// Takes the next word off `text` and converts it. False, with `value` 0, when
/// it is no number. Pure.
bool read_parameter(std::string_view& text, double& value);

/// Reads /proc/meminfo's text into `ram`; what it lacks stays. False when one
/// of the figures is no number. Pure.
bool parse_machine_ram(std::string_view text, MachineRam& ram);

} // namespace procfs
