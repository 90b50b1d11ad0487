#include "procfs/pid_maps.h"

#include <charconv>

namespace procfs {

std::optional<TextRange> parse_text_range(std::string_view line)
{
    // 55d0c0a00000-55d0c0a20000 r-xp 00002000 08:01 1234   /usr/bin/program
    TextRange range;
    const auto* const end = line.data() + line.size();
    const auto start = std::from_chars(line.data(), end, range.start, 16);
    if (start.ec != std::errc() || start.ptr == end || *start.ptr != '-')
        return std::nullopt;
    const auto stop = std::from_chars(start.ptr + 1, end, range.end, 16);
    if (stop.ec != std::errc() || range.end <= range.start)
        return std::nullopt;
    line.remove_prefix(static_cast<std::size_t>(stop.ptr - line.data()));
    if (!line.starts_with(" r-xp ") || line.find('/') == std::string_view::npos)
        return std::nullopt;
    return range;
}

} // namespace procfs
