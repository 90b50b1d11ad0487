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
using std::chrono::steady_clock;

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

std::int64_t age_ms(steady_clock::time_point time)
{
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - time).count();
}

} // namespace

Supervisor::Supervisor(const Settings& settings, const std::string& program)
    : m_settings(settings), m_daemon(program, [this](const ProcessEnd& end) { daemon_ended(end); }),
      m_heartbeats(daemon_name,
                   [this] {
                       m_last_sign = steady_clock::now();
                       m_heard = true;
                   }),
      m_control({[this] { return m_daemon.pid(); }, [this] { return status_json(); },
                 [this](std::uint16_t type) { request_forwarded(type); },
                 [this](std::string_view text) { node_told(text); }}),
      m_back_off(settings.restart_delay, settings.longest_restart_delay),
      m_tick([this] { tick(); }), m_restart_timer([this] { restart_due(); }),
      m_kill_timer([this] { kill_due(); })
{
}

void Supervisor::start()
{
    require(m_heartbeats.start(heartbeat_socket), heartbeat_socket);
    require(m_control.start(control_family), control_family);
    m_tick.start(tick_period);
    start_daemon();
    m_notifier.send("READY=1");
}

void Supervisor::start_daemon()
{
    m_last_sign = steady_clock::now();
    m_heard = false;
    m_node.reset();
    if (const auto started = m_daemon.start(); !started) {
        logger().error("can not start ", daemon_name, ": ", started.reason());
        restart_after(m_back_off.delay_after(milliseconds(0)));
        return;
    }
    m_state = State::running;
    logger().info("started ", daemon_name, ", pid ", m_daemon.pid());
    notify_status();
}

void Supervisor::tick()
{
    m_notifier.send("WATCHDOG=1");
    check_heartbeat();
    notify_status();
}

void Supervisor::check_heartbeat()
{
    if (m_state != State::running || heartbeat_age() < m_settings.heartbeat_timeout)
        return;
    logger().error("no heartbeat of ", daemon_name, " for ", heartbeat_age().count(),
                   " ms, sending SIGABRT");
    m_daemon.signal(SIGABRT);
    expect_end(State::killing, m_settings.kill_delay);
}

void Supervisor::expect_end(State state, milliseconds within)
{
    m_state = state;
    m_kill_timer.charge(within);
}

void Supervisor::kill_due()
{
    logger().error(daemon_name, " does not end, sending SIGKILL");
    m_daemon.signal(SIGKILL);
}

void Supervisor::daemon_ended(const ProcessEnd& end)
{
    m_kill_timer.cancel();
    const auto state = std::exchange(m_state, State::down);
    logger().log(state == State::leaving || state == State::stopping ? LogLevel::info
                                                                     : LogLevel::error,
                 daemon_name, " ended after ", end.run_time.count(),
                 " ms: ", describe_wait_status(end.status));
    if (state == State::stopping)
        nyx::NYXEventBase::loop_exit();
    else if (state == State::leaving)
        restart_after(milliseconds(0));
    else
        restart_after(m_back_off.delay_after(end.run_time));
}

void Supervisor::restart_after(milliseconds delay)
{
    m_state = State::down;
    logger().info("starting ", daemon_name, " again in ", delay.count(), " ms");
    m_restart_timer.charge(delay);
    notify_status();
}

void Supervisor::restart_due()
{
    ++m_restarts;
    start_daemon();
}

void Supervisor::request_forwarded(std::uint16_t type)
{
    if (m_state == State::stopping)
        return;
    if (type == ipc_stop) {
        expect_end(State::leaving, m_settings.stop_timeout);
    } else if (type == ipc_terminate) {
        m_terminated = true;
        expect_end(State::stopping, m_settings.stop_timeout);
    }
}

void Supervisor::shut_down()
{
    m_notifier.send("STOPPING=1");
    m_restart_timer.cancel();
    if (!m_daemon.is_running()) {
        nyx::NYXEventBase::loop_exit();
        return;
    }
    if (m_state == State::stopping)
        return;
    m_daemon.signal(SIGTERM);
    expect_end(State::stopping, m_settings.stop_timeout);
}

milliseconds Supervisor::heartbeat_age() const
{
    return std::chrono::duration_cast<milliseconds>(steady_clock::now() - m_last_sign);
}

/// Kept as a value: no more of the daemon's text than what is known of it.
void Supervisor::node_told(std::string_view text)
{
    auto told = nyx_utils::parse_node_status(text);
    if (!told) {
        logger().warning("the daemon sent a node status of ", text.size(),
                         " bytes that can not be read");
        return;
    }
    m_node = std::move(told);
    m_node_time = steady_clock::now();
}

std::string Supervisor::status_json() const
{
    libvariant::Variant status{{"running", m_daemon.is_running()},
                               {"pid", m_daemon.pid()},
                               {"restarts", m_restarts},
                               {"control_link", m_control.daemon_is_linked()},
                               {"heartbeat_timeout_ms", m_settings.heartbeat_timeout.count()},
                               {"uptime_ms", nullptr},
                               {"heartbeat_age_ms", nullptr},
                               {"node", nullptr}};
    if (m_daemon.is_running())
        status["uptime_ms"] = m_daemon.run_time().count();
    if (m_daemon.is_running() && m_heard)
        status["heartbeat_age_ms"] = heartbeat_age().count();
    if (m_daemon.is_running() && m_node) {
        status["node"] = nyx_utils::to_variant(*m_node);
        status["node"]["age_ms"] = age_ms(m_node_time);
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
                    ", " + std::to_string(m_restarts) + " restarts");
}

} // namespace vos_watchdog
