#include "procfs/pid_status.h"

#include "text/words.h"

namespace procfs {

ProcessMemory parse_process_memory(std::string_view text)
{
    // Keys count at the start of a line only: the first line holds the name
    // that the process gave itself.
    ProcessMemory memory;
    while (const auto line = text::next_line(text)) {
        if (auto state = text::after_prefix(*line, "State:")) {
            memory.zombie = text::next_word(*state) == "Z";
            if (memory.zombie)
                break;
        } else if (auto rss = text::after_prefix(*line, "VmRSS:")) {
            memory.rss_kb = text::next_number<std::int64_t>(*rss);
            break;
        }
    }
    return memory;
}

std::string parse_memory_lines(std::string_view status)
{
    std::string found;
    while (auto line = text::next_line(status)) {
        const auto name = text::next_word(*line);
        const auto value = text::next_word(*line);
        const auto unit = text::next_word(*line);
        if (unit.empty() || (name != "VmRSS:" && name != "VmHWM:" && name != "VmSwap:"))
            continue;
        found.append(found.empty() ? "" : ", ").append(name.substr(0, name.size() - 1));
        found.append(" ").append(value).append(" ").append(unit);
    }
    return found;
}

} // namespace procfs
