// Counters and rates of the network interfaces, from /proc/net/dev.
#pragma once

#include "platform/variant/variant.h"
#include "procfs/net_dev.h"

#include <cstdint>
#include <ctime>
#include <map>
#include <string>
#include <string_view>

/// The low 32 bits of `current` - `previous`, signed. Rates are made from this
/// on purpose: a counter that was reset, and one that grew by 2 GiB and more,
/// show as negative or small, never as an absurd peak.
std::int32_t wrapping_delta32(std::uint64_t current, std::uint64_t previous);

/// One interface at one reading.
struct InterfaceStats : procfs::InterfaceCounters {
    /// A map: "counters" and "rates". `previous` is the reading at
    /// `last_report_time`, null when there is none; times in seconds.
    libvariant::Variant collect_interface_report(const InterfaceStats* previous,
                                                 std::time_t last_report_time,
                                                 std::time_t now) const;
    /// A map of the eight counters.
    libvariant::Variant collect_interface_counters() const;
    /// A map: "rx_bps", "tx_bps" in bytes per second, not bits, and "rx_pps",
    /// "tx_pps" in packets per second. All 0 without `previous`, and when no
    /// time has passed or the clock was set back.
    libvariant::Variant collect_interface_rates(const InterfaceStats* previous,
                                                std::time_t last_report_time,
                                                std::time_t now) const;
};

/// Keeps the last reading, so that rates can be told. Loop thread only.
class InterfaceStatsReport {
public:
    explicit InterfaceStatsReport(std::string proc_root = "/proc");

    /// Reads /proc/net/dev at wall clock `now`, in seconds. An array with one
    /// map per interface, by name: "interface_name", "counters" and "rates"
    /// since the previous report. Empty when the file can not be read. Lines
    /// that can not be parsed are logged and left out.
    libvariant::Variant collect_network_report(std::time_t now = std::time(nullptr));

private:
    bool init_interface_objects();
    bool init_interace_data_from_line(std::string_view line);

    std::map<std::string, InterfaceStats> m_interfaces;
    std::map<std::string, InterfaceStats> m_previous;
    std::time_t m_last_report_time{0};
    std::string m_proc_root;
};
