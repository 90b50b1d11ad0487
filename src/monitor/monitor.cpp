#include "monitor/monitor.h"

#include "config/keys.h"
#include "monitor/intervals.h"

#include <stdexcept>

namespace nyx_monitor {

Monitor& monitor()
{
    static Monitor daemon;
    return daemon;
}

SupLogger& monitor_logger()
{
    static SupLogger& instance = SupLogger::get_instance("VOSMonitor");
    return instance;
}

void require_armed(bool armed, const std::string& event)
{
    if (armed)
        return;
    monitor_logger().error("Failed to arm the ", event);
    throw std::runtime_error("An event is missing that the daemon can not do without");
}

bool verify_vos_monitor_conf()
{
    auto& daemon = monitor();
    bound_intervals(daemon.configurator->config);
    const auto& config = daemon.configurator->config;
    if (!config.lookupValue(config::key::report_freq, daemon.report_freq_ms)) {
        monitor_logger().error("Couldn't read reports frequency from conf");
        return false;
    }
    if (daemon.report_freq_ms <= 0) {
        monitor_logger().info("Reports frequency is ", daemon.report_freq_ms,
                              ", not collecting reports.");
        return false;
    }
    if (!config.lookupValue(config::key::polling_rate_ms, daemon.polling_rate_ms)) {
        monitor_logger().error("Missing configuration for ", config::key::polling_rate_ms);
        return false;
    }
    return true;
}

} // namespace nyx_monitor
