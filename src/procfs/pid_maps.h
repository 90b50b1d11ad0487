// /proc/<pid>/maps: what is mapped where in a process. Pure.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace procfs {

/// An address range of this process that holds program text of a file.
struct TextRange {
    std::size_t start{};
    std::size_t end{};
    bool operator==(const TextRange&) const = default;
};

/// The range of one line of the file, when it is mapped from a file,
/// privately, readable and executable and not writable. Nothing for any other
/// line, and for malformed ones.
std::optional<TextRange> parse_text_range(std::string_view line);

} // namespace procfs
