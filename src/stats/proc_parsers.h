// The texts of /proc, and of the commands that list processes, as values.
//
// All of these are pure: no file, no clock, no log. Text that is cut short or
// malformed gives what each function says, never an exception.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

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

/// Ticks that a process has used since it started.
struct ProcessTicks {
    std::uint64_t user{};
    std::uint64_t kernel{};
    bool operator==(const ProcessTicks&) const = default;
};

/// /proc/<pid>/stat.
std::optional<ProcessTicks> parse_process_ticks(std::string_view text);

/// What /proc/<pid>/status tells about memory.
struct ProcessMemory {
    bool zombie{};
    std::optional<std::int64_t> rss_kb; ///< kernel threads and zombies have none
    bool operator==(const ProcessMemory&) const = default;
};

/// /proc/<pid>/status.
ProcessMemory parse_process_memory(std::string_view text);

/// Two lines of /proc/meminfo, in kB.
struct SystemRam {
    std::optional<std::int64_t> total_kb;
    std::optional<std::int64_t> available_kb; ///< buffers and cached memory included
    bool operator==(const SystemRam&) const = default;
};

/// /proc/meminfo.
SystemRam parse_system_ram(std::string_view text);

/// The hard limit of "Max open files" in /proc/<pid>/limits. Nothing when
/// there is no such line; 0 when its hard limit is no 32-bit number, for
/// instance "unlimited".
std::optional<std::int32_t> parse_fd_limit(std::string_view text);

/// The kernel's descriptor limit no longer fits 32 bits (it is 2^63 - 1 where
/// nobody lowered it), while the counters are 32-bit: what is larger counts as
/// the largest.
std::int32_t saturate_to_int32(std::uint64_t value);

/// /proc/sys/fs/file-nr.
struct FileNumbers {
    std::int32_t allocated{};
    std::int32_t maximum{};
    bool operator==(const FileNumbers&) const = default;
};

/// /proc/sys/fs/file-nr.
std::optional<FileNumbers> parse_file_numbers(std::string_view text);

/// One line of a process list: a process id, then the first word of the name.
std::optional<std::pair<int, std::string>> parse_process_line(std::string_view line);
