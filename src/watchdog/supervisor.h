// Keeps the daemon running: starts it, listens for its heartbeat, ends one that
// hangs, and starts the next.
#pragma once

#include "event/timer.h"
#include "utils/node_status.h"
#include "watchdog/child_process.h"
#include "watchdog/control_server.h"
#include "watchdog/heartbeat_socket.h"
#include "watchdog/service_notifier.h"
#include "watchdog/settings.h"
#include "watchdog/supervision.h"

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

namespace vos_watchdog {

/// Owns the daemon's process, the sockets and the timers, and carries out what
/// Supervision decides. Loop thread only.
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
    bool is_terminated() const { return m_supervision.is_terminated(); }

private:
    void start_daemon();
    void tick();
    void heartbeat();
    void check_heartbeat();
    void kill_daemon();
    void daemon_ended(const ProcessEnd& end);
    void carry_out(const Decision& decision);
    void keep_node_status(std::string_view json);
    std::string status_json() const;
    void notify_status() const;

    std::chrono::milliseconds m_heartbeat_timeout; ///< for who asks for the status
    Supervision m_supervision;
    Notifier m_notifier;
    ChildProcess m_daemon;
    HeartbeatSocket m_heartbeats;
    ControlServer m_control;
    nyx::PeriodicTimer m_tick;
    nyx::Timer m_start_timer;
    nyx::Timer m_kill_timer;
    std::optional<nyx_utils::NodeStatus> m_node; ///< the last that this daemon reported
    Supervision::Time m_node_time;
    bool m_is_ready{false}; ///< the service manager has been told
};

} // namespace vos_watchdog
