#include "procfs/meminfo.h"

#include "text/words.h"

#include <exception>
#include <string>

namespace procfs {

SystemRam parse_system_ram(std::string_view text)
{
    SystemRam ram;
    while (!ram.total_kb || !ram.available_kb) {
        const auto line = text::next_line(text);
        if (!line)
            break;
        if (auto total = text::after_prefix(*line, "MemTotal:"))
            ram.total_kb = text::next_number<std::int64_t>(*total);
        else if (auto available = text::after_prefix(*line, "MemAvailable:"))
            ram.available_kb = text::next_number<std::int64_t>(*available);
    }
    return ram;
}

bool read_parameter(std::string_view& text, double& value)
{
    value = 0.0;
    try {
        value = std::stod(std::string(text::next_word(text)));
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

bool parse_machine_ram(std::string_view text, MachineRam& ram)
{
    while (true) {
        const auto word = text::next_word(text);
        if (word.empty())
            return true;
        double value{};
        if (word == "MemTotal:") {
            if (!read_parameter(text, ram.total))
                return false;
        } else if (word == "MemFree:" || word == "Cached:" || word == "Buffers:") {
            if (!read_parameter(text, value))
                return false;
            ram.not_used += value;
        }
    }
}

} // namespace procfs
