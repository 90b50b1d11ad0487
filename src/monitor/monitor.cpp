#include "monitor/monitor.h"

#include "config/keys.h"
#include "monitor/control_messages.h"
#include "monitor/scheduling.h"

namespace nyx_monitor {

Monitor::Monitor()
    : schedule_timer(vos_monitor_schedule_et, nullptr, -1),
      message_check(EV_READ | EV_TIMEOUT, msg_check, nullptr), send_timer(send_reports, nullptr, -1)
{
}

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

bool verify_vos_monitor_conf()
{
    auto& daemon = monitor();
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
