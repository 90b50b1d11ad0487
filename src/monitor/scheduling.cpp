#include "monitor/scheduling.h"

#include "monitor/monitor.h"

#include <sys/time.h>

#include <stdexcept>

namespace nyx_monitor {

namespace {

std::int64_t milliseconds_between(const timeval& start, const timeval& end)
{
    return (static_cast<std::int64_t>(end.tv_sec) - start.tv_sec) * 1000 +
           (end.tv_usec - start.tv_usec) / 1000;
}

/// Arms `timer` for the next loop turn unless it is armed already: a changed
/// period counts from the next firing on.
void charge_idle_timer(nyx::NYXEventLibEventTimer& timer, LogLevel level, const char* record)
{
    if (timer.is_pending())
        return;
    monitor_logger().log(level, record);
    timer.charge(0);
}

/// A timer that is not armed again would end reporting without a word.
void rearm(nyx::NYXEventLibEventTimer& timer, unsigned int ms)
{
    if (!timer.charge(ms))
        throw std::runtime_error("Failed to arm a report timer");
}

} // namespace

nyx::NYXEventLibEventTimer& schedule_timer()
{
    static nyx::NYXEventLibEventTimer timer(vos_monitor_schedule_et, nullptr, -1);
    return timer;
}

nyx::NYXEventLibEventTimer& send_timer()
{
    static nyx::NYXEventLibEventTimer timer(send_reports, nullptr, -1);
    return timer;
}

void vos_monitor_schedule_et(int, short, void*)
{
    auto& daemon = monitor();
    auto& log = monitor_logger();
    if (daemon.report_freq_ms <= 0)
        return;
    log.info("Starting to collect health reports");
    timeval start{};
    ::gettimeofday(&start, nullptr);
    // Re-armed before the work, so that the period counts from start to start.
    rearm(schedule_timer(), static_cast<unsigned>(daemon.report_freq_ms));
    if (!daemon.reporter->send_report_async(false))
        log.error("Failed sending report");
    timeval end{};
    ::gettimeofday(&end, nullptr);
    log.info("Collecting VOS health report took ", milliseconds_between(start, end), "ms");
}

void send_reports(int, short, void*)
{
    auto& daemon = monitor();
    if (!daemon.reporter->continue_send_report())
        monitor_logger().error("Failed sending VOS health report");
    rearm(send_timer(), daemon.polling_rate_ms);
}

void reconf_handler_cb()
{
    auto& daemon = monitor();
    monitor_logger().info("Handling reconfigure event");
    daemon.configurator->reload_configuration();
    if (verify_vos_monitor_conf()) {
        charge_idle_timer(schedule_timer(), LogLevel::info, "Rescheduling health reports");
        charge_idle_timer(send_timer(), LogLevel::debug, "Rescheduling report send");
    } else {
        monitor_logger().notice("Configuration does not allow sending reports");
        schedule_timer().del(true);
        send_timer().del(true);
    }
    nyx_logging_reload(daemon.logging.get());
    daemon.node_status.status_changed();
}

} // namespace nyx_monitor
