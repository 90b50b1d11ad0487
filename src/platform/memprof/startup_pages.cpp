#include "platform/memprof/startup_pages.h"

#include "procfs/pid_maps.h"

#include <sys/mman.h>

#include <fstream>
#include <string>
#include <vector>

std::size_t release_startup_pages()
{
    std::vector<procfs::TextRange> ranges;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);)
        if (const auto range = procfs::parse_text_range(line))
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
