// /proc/<pid>/status: what a process holds of the memory. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace procfs {

/// What /proc/<pid>/status tells about memory.
struct ProcessMemory {
    bool zombie{};
    std::optional<std::int64_t> rss_kb; ///< kernel threads and zombies have none
    bool operator==(const ProcessMemory&) const = default;
};

/// /proc/<pid>/status.
ProcessMemory parse_process_memory(std::string_view text);

/// The lines "VmRSS:", "VmHWM:" and "VmSwap:", each as "name value unit" and
/// separated by ", ". Empty when there are none.
std::string parse_memory_lines(std::string_view status);

} // namespace procfs
