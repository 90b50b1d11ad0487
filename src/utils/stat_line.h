// The line of /proc/<pid>/stat, taken apart around the command's name.
#pragma once

#include <optional>
#include <string_view>

namespace nyx_utils {

struct StatLine {
    std::string_view name;    ///< of the command; may hold blanks, parentheses and line feeds
    std::string_view figures; ///< what follows it, from the state letter on

    /// The process id of the parent; nothing when the line ends before it.
    std::optional<int> parent() const;
};

/// Splits `text`, which the result refers to. Nothing when no name is in it.
std::optional<StatLine> split_stat_line(std::string_view text);

} // namespace nyx_utils
