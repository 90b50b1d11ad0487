#include "procfs/net_sockstat.h"

#include "text/words.h"

namespace procfs {

std::string tcp_pages_text(std::string_view sockstat)
{
    constexpr int column = 11;
    std::string output;
    while (auto line = text::next_line(sockstat)) {
        if (line->find("TCP") == std::string_view::npos)
            continue;
        for (int skipped = 1; skipped < column; ++skipped)
            text::next_word(*line);
        output += text::next_word(*line);
        output += '\n';
    }
    return output;
}

} // namespace procfs
