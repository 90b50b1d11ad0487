#include "procfs/net_dev.h"

#include "text/words.h"

#include <initializer_list>

namespace procfs {

namespace {

bool read_numbers(std::string_view& text, std::initializer_list<std::uint64_t*> values)
{
    for (auto* value : values) {
        const auto number = text::next_number<std::uint64_t>(text);
        if (!number)
            return false;
        *value = *number;
    }
    return true;
}

} // namespace

text::Result<InterfaceCounters> parse_interface_line(std::string_view line)
{
    InterfaceCounters counters;
    const auto label = text::next_word(line);
    counters.name = label.substr(0, label.find(':'));
    if (counters.name.empty())
        return text::Failure{"interface name"};
    if (!read_numbers(line, {&counters.rx_bytes, &counters.rx_packets, &counters.rx_errors,
                             &counters.rx_drops}))
        return text::Failure{"rx info"};
    std::uint64_t unreported{}; // fifo, frame, compressed, multicast
    if (!read_numbers(line, {&unreported, &unreported, &unreported, &unreported, &counters.tx_bytes,
                             &counters.tx_packets, &counters.tx_errors, &counters.tx_drops}))
        return text::Failure{"tx info"};
    return counters;
}

} // namespace procfs
