#include "procfs/stat.h"

#include "text/words.h"

#include <algorithm>

namespace procfs {

namespace {

CpuTimes parse_columns(std::string_view columns)
{
    CpuTimes times;
    for (auto& ticks : times.ticks) {
        const auto number = text::next_number<std::uint64_t>(columns);
        if (!number)
            break;
        ticks = *number;
        ++times.columns;
    }
    return times;
}

} // namespace

std::uint64_t CpuTimes::sum(std::size_t count) const
{
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < std::min(count, ticks.size()); ++i)
        total += ticks[i];
    return total;
}

MachineCpuTimes parse_cpu_times(std::string_view text)
{
    MachineCpuTimes machine;
    while (const auto line = text::next_line(text)) {
        const auto rest = text::after_prefix(*line, "cpu");
        if (!rest)
            continue;
        if (!rest->starts_with(' '))
            ++machine.cores;
        else if (!machine.aggregate)
            machine.aggregate = parse_columns(*rest);
    }
    return machine;
}

std::optional<std::uint64_t> parse_idle_ticks(std::string_view text)
{
    const auto columns = text::after_prefix(text::next_line(text).value_or(""), "cpu ");
    if (!columns)
        return std::nullopt;
    const auto times = parse_columns(*columns);
    if (times.columns <= idle_column)
        return std::nullopt;
    return times.ticks[idle_column];
}

} // namespace procfs
