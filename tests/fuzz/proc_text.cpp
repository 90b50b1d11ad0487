// A letter that picks the reader, and a text as the kernel's files have it.
#include "fuzz/target.h"
#include "procfs/file_nr.h"
#include "procfs/locks.h"
#include "procfs/meminfo.h"
#include "procfs/net_dev.h"
#include "procfs/net_sockstat.h"
#include "procfs/pid_children.h"
#include "procfs/pid_limits.h"
#include "procfs/pid_maps.h"
#include "procfs/pid_stat.h"
#include "procfs/pid_status.h"
#include "procfs/stat.h"

using namespace procfs;

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
    MachineRam ram;
    parse_machine_ram(text, ram);
    REQUIRE(parse_memory_lines(text).size() <= 2 * text.size());
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
        (void)parse_interface_line(text);
        tcp_pages_text(text);
        return;
    case 'l':
        for (const int pid : parse_flock_holders(text, {254, 0, 11062036}))
            REQUIRE(pid > 0);
        return;
    case 'p':
        parse_process_ticks(text);
        parse_children(text);
        return;
    default:
        const auto range = parse_text_range(text);
        REQUIRE(!range || range->start <= range->end || text.find('-') != text.npos);
    }
}
