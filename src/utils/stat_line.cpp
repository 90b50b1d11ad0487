#include "utils/stat_line.h"

#include "text/words.h"

namespace nyx_utils {

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

} // namespace nyx_utils
