#include "text/words.h"

namespace text {

namespace {

constexpr std::string_view blanks = " \t\r\v\f\n";

} // namespace

std::optional<std::string_view> next_line(std::string_view& text)
{
    if (text.empty())
        return std::nullopt;
    const auto end = text.find('\n');
    const auto line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

std::string_view next_word(std::string_view& text)
{
    const auto start = text.find_first_not_of(blanks);
    if (start == std::string_view::npos) {
        text = {};
        return {};
    }
    text.remove_prefix(start);
    const auto word = text.substr(0, text.find_first_of(blanks));
    text.remove_prefix(word.size());
    return word;
}

void skip_words(std::string_view& text, int count)
{
    for (int i = 0; i < count; ++i)
        next_word(text);
}

std::optional<std::string_view> after_prefix(std::string_view text, std::string_view prefix)
{
    if (!text.starts_with(prefix))
        return std::nullopt;
    return text.substr(prefix.size());
}

std::string_view trimmed(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t\r");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

} // namespace text
