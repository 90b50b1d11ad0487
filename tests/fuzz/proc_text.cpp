// A letter that picks the reader, and a text as the kernel's files have it.
#include "fuzz/target.h"
#include "platform/memprof/memprof.h"
#include "platform/memprof/startup_pages.h"
#include "stats/interface_stats.h"
#include "stats/machine_ram_info.h"
#include "stats/proc_parsers.h"

namespace {

void cpu_times(std::string_view text)
{
    const auto times = parse_cpu_times(text);
    REQUIRE(times.cores >= 0);
    if (times.aggregate) {
        REQUIRE(times.aggregate->columns <= cpu_columns.size());
        times.aggregate->sum(cpu_columns.size());
    }
    parse_idle_ticks(text);
}

void file_numbers(std::string_view text)
{
    const auto numbers = parse_file_numbers(text);
    REQUIRE(!numbers || (numbers->allocated >= 0 && numbers->maximum >= 0));
    const auto limit = parse_fd_limit(text);
    REQUIRE(!limit || *limit >= 0 || text.find('-') != text.npos);
}

void memory(std::string_view text)
{
    const auto process = parse_process_memory(text);
    REQUIRE(!process.zombie || !process.rss_kb);
    parse_system_ram(text);
    nyx_monitor::MachineRam ram;
    nyx_monitor::parse_machine_ram(text, ram);
    REQUIRE(parse_memory_lines(std::string(text)).size() <= 2 * text.size());
}

} // namespace

void fuzz_one(std::string_view input)
{
    if (input.empty())
        return;
    const auto text = input.substr(1);
    switch (input[0]) {
    case 'c':
        return cpu_times(text);
    case 'f':
        return file_numbers(text);
    case 'm':
        return memory(text);
    case 'i':
        parse_interface_line(text);
        return;
    case 'p':
        parse_process_ticks(text);
        parse_process_line(text);
        return;
    default:
        const auto range = parse_text_range(text);
        REQUIRE(!range || range->start <= range->end || text.find('-') != text.npos);
    }
}
