// /proc/<pid>/stat: name, parent and ticks of a process. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace procfs {

/// The line, taken apart around the command's name.
struct StatLine {
    std::string_view name;    ///< of the command; may hold blanks, parentheses and line feeds
    std::string_view figures; ///< what follows it, from the state letter on

    /// The process id of the parent; nothing when the line ends before it.
    std::optional<int> parent() const;
};

/// Splits `text`, which the result refers to. Nothing when no name is in it.
std::optional<StatLine> split_stat_line(std::string_view text);

/// Ticks that a process has used since it started.
struct ProcessTicks {
    std::uint64_t user{};
    std::uint64_t kernel{};
    bool operator==(const ProcessTicks&) const = default;
};

/// /proc/<pid>/stat.
std::optional<ProcessTicks> parse_process_ticks(std::string_view text);

} // namespace procfs
