// Walking over the lines, words and numbers of a text.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>

namespace text {

/// Takes the next line off the front of `text`, without its line feed. Nothing
/// at the end.
std::optional<std::string_view> next_line(std::string_view& text);

/// Takes the next word, a run without blanks and line feeds, off the front of
/// `text`. Empty at the end.
std::string_view next_word(std::string_view& text);

/// Takes `count` words off the front of `text`.
void skip_words(std::string_view& text, int count);

/// What follows `prefix` when `text` begins with it.
std::optional<std::string_view> after_prefix(std::string_view text, std::string_view prefix);

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

/// `text` without blanks, tabs and carriage returns at its ends.
std::string_view trimmed(std::string_view text);

} // namespace text
