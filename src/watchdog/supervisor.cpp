#include "watchdog/supervisor.h"

#include "common/nyx_libevent.h"
#include "platform/logger/sup_logger.h"
#include "platform/variant/variant.h"

#include <csignal>
#include <stdexcept>
#include <utility>

namespace vos_watchdog {

namespace {

using std::chrono::milliseconds;
using Clock = Supervision::Clock;

constexpr milliseconds tick_period{1000};
constexpr const char* daemon_name = "vos_monitor";
constexpr const char* heartbeat_socket = "watchdog";
constexpr const char* control_family = "vos";

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Watchdog");
    return instance;
}

void require(const text::Outcome& bound, const char* socket)
{
    if (!bound)
        throw std::runtime_error("can not bind " + ipc_dir() + "/" + socket +
                                 ".sock: " + bound.reason());
}

} // namespace

Supervisor::Supervisor(const Settings& settings, const std::string& program)
    : m_heartbeat_timeout(settings.heartbeat_timeout), m_supervision(settings),
      m_daemon(program, [this](const ProcessEnd& end) { daemon_ended(end); }),
      m_heartbeats(daemon_name, [this] { heartbeat(); }),
      m_control(
          {.daemon_pid = [this] { return m_daemon.pid(); },
           .status = [this] { return status_json(); },
           .forwarded = [this](auto type) { carry_out(m_supervision.request_forwarded(type)); },
           .node_status = [this](std::string_view json) { keep_node_status(json); }}),
      m_tick([this] { tick(); }), m_start_timer([this] { start_daemon(); }),
      m_kill_timer([this] { kill_daemon(); })
{
}

void Supervisor::start()
{
    require(m_heartbeats.start(heartbeat_socket), heartbeat_socket);
    require(m_control.start(control_family), control_family);
    if (!m_tick.start(tick_period))
        throw std::runtime_error("can not watch the time");
    start_daemon();
}

void Supervisor::start_daemon()
{
    m_supervision.starting(Clock::now());
    m_node.reset();
    if (const auto started = m_daemon.start(); !started) {
        logger().error("can not start ", daemon_name, ": ", started.reason());
        carry_out(m_supervision.could_not_start());
        return;
    }
    m_supervision.started();
    logger().info("started ", daemon_name, ", pid ", m_daemon.pid());
    notify_status();
}

void Supervisor::tick()
{
    m_notifier.send("WATCHDOG=1");
    check_heartbeat();
    notify_status();
}

/// The node is monitored from the first one on: a daemon that is only started
/// may end at once.
void Supervisor::heartbeat()
{
    m_supervision.heartbeat(Clock::now());
    if (!std::exchange(m_is_ready, true))
        m_notifier.send("READY=1");
}

void Supervisor::check_heartbeat()
{
    const auto now = Clock::now();
    const auto decision = m_supervision.tick(now);
    if (decision.signal != 0)
        logger().error("no heartbeat of ", daemon_name, " for ", m_supervision.silence(now).count(),
                       " ms, sending SIGABRT");
    carry_out(decision);
}

void Supervisor::kill_daemon()
{
    logger().error(daemon_name, " does not end, sending SIGKILL");
    m_daemon.signal(SIGKILL);
}

void Supervisor::daemon_ended(const ProcessEnd& end)
{
    logger().log(m_supervision.end_is_expected() ? LogLevel::info : LogLevel::error, daemon_name,
                 " ended after ", end.run_time.count(), " ms: ", describe_wait_status(end.status));
    carry_out(m_supervision.ended(end.run_time));
}

void Supervisor::shut_down()
{
    m_notifier.send("STOPPING=1");
    carry_out(m_supervision.shut_down());
}

void Supervisor::carry_out(const Decision& decision)
{
    if (decision.cancel_timers) {
        m_kill_timer.cancel();
        m_start_timer.cancel();
    }
    if (decision.signal != 0)
        m_daemon.signal(decision.signal);
    if (decision.kill_in)
        m_kill_timer.charge(*decision.kill_in);
    if (decision.start_in) {
        logger().info("starting ", daemon_name, " again in ", decision.start_in->count(), " ms");
        m_start_timer.charge(*decision.start_in);
        notify_status();
    }
    if (decision.leave)
        nyx::NYXEventBase::loop_exit();
}

/// Kept as a value: no more of what the daemon sent than what is known of it.
void Supervisor::keep_node_status(std::string_view json)
{
    auto status = nyx_utils::parse_node_status(json);
    if (!status) {
        logger().warning("the daemon sent a node status of ", json.size(),
                         " bytes that can not be read");
        return;
    }
    m_node = std::move(status);
    m_node_time = Clock::now();
}

std::string Supervisor::status_json() const
{
    libvariant::Variant status{{"running", m_daemon.is_running()},
                               {"pid", m_daemon.pid()},
                               {"restarts", m_supervision.restarts()},
                               {"control_link", m_control.daemon_is_linked()},
                               {"heartbeat_timeout_ms", m_heartbeat_timeout.count()},
                               {"uptime_ms", nullptr},
                               {"heartbeat_age_ms", nullptr},
                               {"node", nullptr}};
    const auto now = Clock::now();
    if (m_daemon.is_running())
        status["uptime_ms"] = m_daemon.run_time().count();
    if (m_daemon.is_running() && m_supervision.is_heard())
        status["heartbeat_age_ms"] = m_supervision.silence(now).count();
    if (m_daemon.is_running() && m_node) {
        status["node"] = nyx_utils::to_variant(*m_node);
        status["node"]["age_ms"] =
            std::chrono::duration_cast<milliseconds>(now - m_node_time).count();
    }
    return libvariant::write_json(status);
}

void Supervisor::notify_status() const
{
    if (!m_notifier.is_connected())
        return;
    const std::string name = daemon_name;
    m_notifier.send("STATUS=" +
                    (m_daemon.is_running() ? name + " runs, pid " + std::to_string(m_daemon.pid())
                                           : name + " is down") +
                    ", " + std::to_string(m_supervision.restarts()) + " restarts");
}

} // namespace vos_watchdog
