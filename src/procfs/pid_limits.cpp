#include "procfs/pid_limits.h"

#include "text/words.h"

namespace procfs {

std::optional<std::int32_t> parse_fd_limit(std::string_view text)
{
    while (const auto line = text::next_line(text)) {
        auto limits = text::after_prefix(*line, "Max open files");
        if (!limits)
            continue;
        text::skip_words(*limits, 1); // the soft limit
        return text::next_number<std::int32_t>(*limits).value_or(0);
    }
    return std::nullopt;
}

} // namespace procfs
