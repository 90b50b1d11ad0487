#include "stats/monitor_system.h"

#include "stats/proc_parsers.h"
#include "utils/text_file.h"

bool read_cpu_idle_time(unsigned long long& idle, const std::string& proc_root)
{
    const auto text = nyx_utils::read_text_file(proc_root + "/stat");
    const auto ticks = text ? parse_idle_ticks(*text) : std::nullopt;
    if (ticks)
        idle = *ticks;
    return ticks.has_value();
}
