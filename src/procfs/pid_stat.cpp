#include "procfs/pid_stat.h"

#include "text/words.h"

namespace procfs {

std::optional<int> StatLine::parent() const
{
    auto rest = figures;
    text::next_word(rest); // the state letter
    return text::next_number<int>(rest);
}

std::optional<StatLine> split_stat_line(std::string_view text)
{
    // The name may hold parentheses too; only numbers and the state letter
    // follow it, so the last one closes it.
    const auto open = text.find('(');
    const auto close = text.rfind(')');
    if (open == std::string_view::npos || close == std::string_view::npos || close < open)
        return std::nullopt;
    return StatLine{text.substr(open + 1, close - open - 1), text.substr(close + 1)};
}

std::optional<ProcessTicks> parse_process_ticks(std::string_view text)
{
    const auto line = split_stat_line(text);
    if (!line)
        return std::nullopt;
    text = line->figures;
    constexpr int words_between_name_and_times = 11;
    text::skip_words(text, words_between_name_and_times);
    const auto user = text::next_number<std::uint64_t>(text);
    const auto kernel = text::next_number<std::uint64_t>(text);
    if (!user || !kernel)
        return std::nullopt;
    return ProcessTicks{*user, *kernel};
}

} // namespace procfs
