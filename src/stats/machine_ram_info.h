// The machine's RAM usage, from /proc/meminfo.
#pragma once

#include "platform/variant/variant.h"

#include <string>
#include <string_view>

namespace nyx_monitor {

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

/// Loop thread only.
class MachineRamInfo {
public:
    explicit MachineRamInfo(std::string proc_root = "/proc");

    /// Reads /proc/meminfo and publishes the used fraction in the status
    /// record. A file that can not be opened leaves total() and counts all of
    /// it as used; a malformed figure gives false. Throws std::runtime_error
    /// when the record's semaphore can not be given back.
    bool read_mem();
    /// Reads, and makes the map "total" and "used" in kB. An empty map, and
    /// one error record, when the read fails.
    libvariant::Variant generate_ram_info_report();

    double total() const { return m_total; } ///< kB
    double used() const { return m_used; }   ///< kB

private:
    double m_total{};
    double m_used{};
    std::string m_proc_root;
};

} // namespace nyx_monitor
