#include "platform/memprof/startup_pages.h"

#include <sys/mman.h>

#include <charconv>
#include <fstream>
#include <string>
#include <vector>

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

std::size_t release_startup_pages()
{
    std::vector<TextRange> ranges;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        if (const auto range = parse_text_range(line))
            ranges.push_back(*range);
    std::size_t covered = 0;
    for (const auto& range : ranges) {
        const auto size = range.end - range.start;
        // Text is never written, so nothing is lost that the file does not have.
        auto* const start =
            reinterpret_cast<void*>(range.start); // NOLINT(performance-no-int-to-ptr)
        if (::madvise(start, size, MADV_DONTNEED) == 0)
            covered += size;
    }
    return covered;
}
