// /proc/stat: the ticks of the CPUs. Pure; text that is cut short or malformed
// gives what each function says, never an exception.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

namespace procfs {

/// The columns of a "cpu" line of /proc/stat, in file order.
constexpr std::array cpu_columns = {"user", "nice",    "system", "idle",  "iowait",
                                    "irq",  "softirq", "steal",  "guest", "guest_nice"};
constexpr std::size_t idle_column = 3;
constexpr std::size_t steal_column = 7;

/// One "cpu" line of /proc/stat, in clock ticks since boot.
struct CpuTimes {
    std::array<std::uint64_t, cpu_columns.size()> ticks{};
    std::size_t columns{}; ///< how many could be read; the others are 0

    /// The sum of the first `count` columns.
    std::uint64_t sum(std::size_t count) const;
};

/// The "cpu" lines of /proc/stat.
struct MachineCpuTimes {
    std::int32_t cores{};              ///< lines of a single CPU
    std::optional<CpuTimes> aggregate; ///< the line of all CPUs
};

/// /proc/stat.
MachineCpuTimes parse_cpu_times(std::string_view text);

/// The idle ticks of /proc/stat. Nothing unless the first line is the aggregate
/// and reaches as far.
std::optional<std::uint64_t> parse_idle_ticks(std::string_view text);

} // namespace procfs
