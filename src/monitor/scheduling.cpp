#include "monitor/scheduling.h"

#include "monitor/monitor.h"
#include "utils/commands.h"

#include <sys/time.h>

namespace nyx_monitor {

namespace {

std::int64_t milliseconds_between(const timeval& start, const timeval& end)
{
    return (static_cast<std::int64_t>(end.tv_sec) - start.tv_sec) * 1000 +
           (end.tv_usec - start.tv_usec) / 1000;
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

void charge_schedule_timer(unsigned int ms)
{
    require_armed(schedule_timer().charge(ms), "schedule timer");
}

void charge_send_timer(unsigned int ms)
{
    require_armed(send_timer().charge(ms), "send timer");
}

void vos_monitor_schedule_et(int, short, void*)
{
    auto& daemon = monitor();
    auto& log = monitor_logger();
    if (daemon.report_freq_ms <= 0)
        return;
    // A reload may have brought builtin commands, whose first look takes long. At
    // the start the first measurement has taken it.
    if (!nyx_utils::prepare_commands())
        return charge_schedule_timer(0);
    log.info("Starting to collect health reports");
    timeval start{};
    ::gettimeofday(&start, nullptr);
    // Re-armed before the work, so that the period counts from start to start.
    charge_schedule_timer(static_cast<unsigned>(daemon.report_freq_ms));
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
    charge_send_timer(daemon.polling_rate_ms);
}

void reconf_handler_cb()
{
    auto& daemon = monitor();
    auto& log = monitor_logger();
    log.info("Handling reconfigure event");
    daemon.configurator->reload_configuration();
    if (verify_vos_monitor_conf()) {
        if (!schedule_timer().is_pending()) {
            log.info("Rescheduling health reports");
            charge_schedule_timer(0);
        }
        if (!send_timer().is_pending()) {
            log.debug("Rescheduling report send");
            charge_send_timer(0);
        }
    } else {
        log.notice("Configuration does not allow sending reports");
        schedule_timer().del(true);
        send_timer().del(true);
    }
    nyx_logging_reload(daemon.logging.get());
    daemon.node_status.status_changed();
}

} // namespace nyx_monitor
