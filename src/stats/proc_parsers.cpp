#include "stats/proc_parsers.h"

#include "text/words.h"
#include "utils/stat_line.h"

#include <algorithm>
#include <charconv>
#include <limits>

using text::next_line;
using text::next_number;
using text::next_word;

namespace {

CpuTimes parse_columns(std::string_view columns)
{
    CpuTimes times;
    for (auto& ticks : times.ticks) {
        const auto number = next_number<std::uint64_t>(columns);
        if (!number)
            break;
        ticks = *number;
        ++times.columns;
    }
    return times;
}

void skip_words(std::string_view& text, int count)
{
    for (int i = 0; i < count; ++i)
        next_word(text);
}

/// What follows `key` when `line` begins with it.
std::optional<std::string_view> after_key(std::string_view line, std::string_view key)
{
    if (!line.starts_with(key))
        return std::nullopt;
    line.remove_prefix(key.size());
    return line;
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
    while (const auto line = next_line(text)) {
        const auto rest = after_key(*line, "cpu");
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
    const auto columns = after_key(next_line(text).value_or(""), "cpu ");
    if (!columns)
        return std::nullopt;
    const auto times = parse_columns(*columns);
    if (times.columns <= idle_column)
        return std::nullopt;
    return times.ticks[idle_column];
}

std::optional<ProcessTicks> parse_process_ticks(std::string_view text)
{
    const auto line = nyx_utils::split_stat_line(text);
    if (!line)
        return std::nullopt;
    text = line->figures;
    constexpr int words_between_name_and_times = 11;
    skip_words(text, words_between_name_and_times);
    const auto user = next_number<std::uint64_t>(text);
    const auto kernel = next_number<std::uint64_t>(text);
    if (!user || !kernel)
        return std::nullopt;
    return ProcessTicks{*user, *kernel};
}

ProcessMemory parse_process_memory(std::string_view text)
{
    // Keys count at the start of a line only: the first line holds the name
    // that the process gave itself.
    ProcessMemory memory;
    while (const auto line = next_line(text)) {
        if (auto state = after_key(*line, "State:")) {
            memory.zombie = next_word(*state) == "Z";
            if (memory.zombie)
                break;
        } else if (auto rss = after_key(*line, "VmRSS:")) {
            memory.rss_kb = next_number<std::int64_t>(*rss);
            break;
        }
    }
    return memory;
}

SystemRam parse_system_ram(std::string_view text)
{
    SystemRam ram;
    while (!ram.total_kb || !ram.available_kb) {
        const auto line = next_line(text);
        if (!line)
            break;
        if (auto total = after_key(*line, "MemTotal:"))
            ram.total_kb = next_number<std::int64_t>(*total);
        else if (auto available = after_key(*line, "MemAvailable:"))
            ram.available_kb = next_number<std::int64_t>(*available);
    }
    return ram;
}

std::optional<std::int32_t> parse_fd_limit(std::string_view text)
{
    while (const auto line = next_line(text)) {
        auto limits = after_key(*line, "Max open files");
        if (!limits)
            continue;
        skip_words(*limits, 1); // the soft limit
        return next_number<std::int32_t>(*limits).value_or(0);
    }
    return std::nullopt;
}

std::int32_t saturate_to_int32(std::uint64_t value)
{
    constexpr auto largest = std::numeric_limits<std::int32_t>::max();
    return value > static_cast<std::uint64_t>(largest) ? largest : static_cast<std::int32_t>(value);
}

std::optional<FileNumbers> parse_file_numbers(std::string_view text)
{
    const auto allocated = next_number<std::uint64_t>(text);
    const auto unused = next_number<std::uint64_t>(text);
    const auto maximum = next_number<std::uint64_t>(text);
    if (!allocated || !unused || !maximum)
        return std::nullopt;
    return FileNumbers{saturate_to_int32(*allocated), saturate_to_int32(*maximum)};
}

std::optional<std::pair<int, std::string>> parse_process_line(std::string_view line)
{
    const auto pid = next_number<int>(line);
    const auto name = next_word(line);
    if (!pid || name.empty())
        return std::nullopt;
    return std::pair{*pid, std::string(name)};
}
