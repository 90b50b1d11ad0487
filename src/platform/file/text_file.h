// Reading a whole small text file, and walking over its words.
#pragma once

#include <charconv>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace nyx_utils {

/// Files of /proc and the like stay far below; nothing larger is read.
constexpr std::size_t largest_text_file = 16 * 1024 * 1024;

/// The content of the file at `path`, in one open, a few reads and one close.
/// Nothing, with errno set, when it can not be read or is larger than
/// largest_text_file. Never waits for a pipe's writer.
std::optional<std::string> read_text_file(const std::string& path);

/// The same of a file that the kernel writes in one go, as those of /proc about
/// one process, memory and CPUs: not the lists, which come page by page. Saves
/// the read that only tells the end.
std::optional<std::string> read_record_file(const std::string& path);

/// Takes the next line off the front of `text`, without its line feed. Nothing
/// at the end.
std::optional<std::string_view> next_line(std::string_view& text);

/// Takes the next word, a run without blanks and line feeds, off the front of
/// `text`. Empty at the end.
std::string_view next_word(std::string_view& text);

/// `word` as a decimal number; nothing when it is none or out of T's range.
template <typename T>
std::optional<T> to_number(std::string_view word)
{
    T value{};
    const auto* end = word.data() + word.size();
    const auto [stop, error] = std::from_chars(word.data(), end, value);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    return value;
}

/// Takes the next word off `text` and reads it as a number.
template <typename T>
std::optional<T> next_number(std::string_view& text)
{
    return to_number<T>(next_word(text));
}

} // namespace nyx_utils
