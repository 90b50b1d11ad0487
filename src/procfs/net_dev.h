// /proc/net/dev: the counters of the network interfaces. Pure.
#pragma once

#include "text/result.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace procfs {

/// One interface. Counters are cumulative since it came up.
struct InterfaceCounters {
    std::string name; ///< without the colon
    std::uint64_t rx_bytes{};
    std::uint64_t rx_packets{};
    std::uint64_t rx_errors{};
    std::uint64_t rx_drops{};
    std::uint64_t tx_bytes{};
    std::uint64_t tx_packets{};
    std::uint64_t tx_errors{};
    std::uint64_t tx_drops{};
    bool operator==(const InterfaceCounters&) const = default;
};

/// One line after the two of column headers. The reason names the piece that
/// could not be read: name, rx or tx.
text::Result<InterfaceCounters> parse_interface_line(std::string_view line);

} // namespace procfs
