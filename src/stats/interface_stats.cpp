#include "stats/interface_stats.h"

#include "platform/file/text_file.h"
#include "platform/logger/sup_logger.h"
#include "text/words.h"

#include <array>
#include <utility>

namespace {

using libvariant::Variant;

struct Figure {
    const char* name;
    std::uint64_t InterfaceStats::*counter;
};

// In the order of a map, so that each is put at its end.
constexpr std::array<Figure, 8> counter_figures{{{"rx_bytes", &InterfaceStats::rx_bytes},
                                                 {"rx_drops", &InterfaceStats::rx_drops},
                                                 {"rx_errors", &InterfaceStats::rx_errors},
                                                 {"rx_packets", &InterfaceStats::rx_packets},
                                                 {"tx_bytes", &InterfaceStats::tx_bytes},
                                                 {"tx_drops", &InterfaceStats::tx_drops},
                                                 {"tx_errors", &InterfaceStats::tx_errors},
                                                 {"tx_packets", &InterfaceStats::tx_packets}}};
constexpr std::array<Figure, 4> rate_figures{{{"rx_bps", &InterfaceStats::rx_bytes},
                                              {"rx_pps", &InterfaceStats::rx_packets},
                                              {"tx_bps", &InterfaceStats::tx_bytes},
                                              {"tx_pps", &InterfaceStats::tx_packets}}};

/// A map with what `value_of` makes of each of `figures`. A braced list would be
/// made first and copied then, which counts where there are thousands of interfaces.
template <std::size_t Count, typename ValueOf>
Variant map_of(const std::array<Figure, Count>& figures, ValueOf value_of)
{
    Variant::object_t map;
    for (const auto& [name, counter] : figures)
        map.emplace_hint(map.end(), name, value_of(counter));
    return Variant(std::move(map));
}

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("InterfaceStats");
    return instance;
}

} // namespace

std::int32_t wrapping_delta32(std::uint64_t current, std::uint64_t previous)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(current - previous));
}

libvariant::Variant InterfaceStats::collect_interface_report(const InterfaceStats* previous,
                                                             std::time_t last_report_time,
                                                             std::time_t now) const
{
    Variant::object_t report;
    report.emplace("counters", collect_interface_counters());
    report.emplace("rates", collect_interface_rates(previous, last_report_time, now));
    return Variant(std::move(report));
}

libvariant::Variant InterfaceStats::collect_interface_counters() const
{
    return map_of(counter_figures, [this](auto counter) { return this->*counter; });
}

libvariant::Variant InterfaceStats::collect_interface_rates(const InterfaceStats* previous,
                                                            std::time_t last_report_time,
                                                            std::time_t now) const
{
    const auto interval = static_cast<std::int64_t>(now) - last_report_time;
    return map_of(rate_figures, [&](auto counter) -> std::int64_t {
        if (interval <= 0 || previous == nullptr)
            return 0;
        const std::int64_t delta = wrapping_delta32(this->*counter, previous->*counter);
        return delta > 0 ? delta / interval : 0;
    });
}

InterfaceStatsReport::InterfaceStatsReport(std::string proc_root)
    : m_proc_root(std::move(proc_root))
{
}

libvariant::Variant InterfaceStatsReport::collect_network_report(std::time_t now)
{
    m_previous = std::exchange(m_interfaces, {});
    if (!init_interface_objects())
        return Variant::array();
    Variant::array_t report;
    report.reserve(m_interfaces.size());
    for (const auto& [name, stats] : m_interfaces) {
        logger().debug("Creating report of interface ", name);
        const auto before = m_previous.find(name);
        auto entry = stats.collect_interface_report(
            before == m_previous.end() ? nullptr : &before->second, m_last_report_time, now);
        entry["interface_name"] = name;
        report.push_back(std::move(entry));
    }
    m_last_report_time = now;
    return Variant(std::move(report));
}

bool InterfaceStatsReport::init_interface_objects()
{
    const auto path = m_proc_root + "/net/dev";
    const auto text = platform::read_text_file(path);
    if (!text) {
        logger().error("Failed to read interfaces info from ", path);
        return false;
    }
    std::string_view rest = *text;
    text::next_line(rest); // two lines of column headers
    text::next_line(rest);
    const bool debug = logger().is_debug_enabled();
    while (const auto line = text::next_line(rest)) {
        if (debug)
            logger().debug("Parsing line: ", *line);
        if (!init_interace_data_from_line(*line))
            logger().error("Failed to parse interface statistics from line: ", *line);
    }
    return true;
}

bool InterfaceStatsReport::init_interace_data_from_line(std::string_view line)
{
    if (line.empty()) {
        logger().debug("line is empty, skipping it");
        return true;
    }
    auto counters = procfs::parse_interface_line(line);
    if (!counters) {
        logger().error("Failed parsing ", counters.reason(), " in line: ", line);
        return false;
    }
    const auto name = counters->name;
    m_interfaces.try_emplace(name,
                             InterfaceStats{std::move(*counters)}); // the first of a name stays
    return true;
}
