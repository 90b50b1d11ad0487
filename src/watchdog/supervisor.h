// Keeps the daemon running: starts it, listens for its heartbeat, ends one that
// hangs, and starts the next.
#pragma once

#include "event/timer.h"
#include "utils/node_status.h"
#include "watchdog/back_off.h"
#include "watchdog/child_process.h"
#include "watchdog/control_server.h"
#include "watchdog/heartbeat_socket.h"
#include "watchdog/service_notifier.h"
#include "watchdog/settings.h"

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace vos_watchdog {

class Supervisor {
public:
    /// `program` is the daemon's path.
    Supervisor(const Settings& settings, const std::string& program);
    Supervisor(const Supervisor&) = delete;
    Supervisor& operator=(const Supervisor&) = delete;
    ~Supervisor() = default;

    /// Binds the sockets and starts the daemon. Throws std::runtime_error
    /// naming the socket that can not be had.
    void start();

    /// Ends the daemon (SIGTERM, and SIGKILL when that takes too long), and
    /// then the loop.
    void shut_down();

    /// An operator has asked that daemon and supervisor end and stay down.
    bool is_terminated() const { return m_terminated; }

private:
    enum class State {
        down,     ///< no daemon; the restart timer runs
        running,  ///< the daemon is watched
        killing,  ///< it hung, and was sent SIGABRT
        leaving,  ///< it was asked to end, and is started again
        stopping, ///< it was asked to end, and the supervisor ends with it
    };

    void tick();
    void restart_due();
    void kill_due();
    void start_daemon();
    void check_heartbeat();
    void daemon_ended(const ProcessEnd& end);
    void request_forwarded(std::uint16_t type);
    void expect_end(State state, std::chrono::milliseconds within);
    void restart_after(std::chrono::milliseconds delay);
    std::chrono::milliseconds heartbeat_age() const;
    std::string status_json() const;
    void node_told(std::string_view text);
    void notify_status() const;

    Settings m_settings;
    Notifier m_notifier;
    ChildProcess m_daemon;
    HeartbeatSocket m_heartbeats;
    ControlServer m_control;
    BackOff m_back_off;
    nyx::PeriodicTimer m_tick;
    nyx::Timer m_restart_timer;
    nyx::Timer m_kill_timer;
    State m_state{State::down};
    std::chrono::steady_clock::time_point m_last_sign; ///< last heartbeat, or start
    bool m_terminated{false};
    bool m_heard{false}; ///< a heartbeat since the start
    unsigned m_restarts{0};
    std::optional<nyx_utils::NodeStatus> m_node; ///< what this daemon told last
    std::chrono::steady_clock::time_point m_node_time;
};

} // namespace vos_watchdog
