#include "platform/process/process_line.h"

#include "text/words.h"

namespace platform {

std::optional<std::pair<int, std::string>> parse_process_line(std::string_view line)
{
    const auto pid = text::next_number<int>(line);
    const auto name = text::next_word(line);
    if (!pid || name.empty())
        return std::nullopt;
    return std::pair{*pid, std::string(name)};
}

} // namespace platform
