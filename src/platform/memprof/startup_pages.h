// Giving back the memory that only start-up needed.
#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

/// An address range of this process that holds program text of a file.
struct TextRange {
    std::size_t start{};
    std::size_t end{};
    bool operator==(const TextRange&) const = default;
};

/// The range of one line of /proc/self/maps, when it is mapped from a file,
/// privately, readable and executable and not writable. Nothing for any other
/// line, and for malformed ones.
std::optional<TextRange> parse_text_range(std::string_view line);

/// Unmaps the program text of the daemon and its libraries from this process;
/// the kernel maps what is used again, page by page, from its cache. Most of
/// the text that is resident after start-up belongs to constructors of
/// libraries that run once. Returns the bytes that were covered.
std::size_t release_startup_pages();
