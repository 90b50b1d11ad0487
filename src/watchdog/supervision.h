// The supervisor's decisions: when the daemon is started, signalled and waited
// for. Pure: no process, no timer and no log; what happens comes in with its
// time, and what is to be done goes out.
#pragma once

#include "watchdog/back_off.h"
#include "watchdog/settings.h"

#include <chrono>
#include <cstdint>
#include <optional>

namespace vos_watchdog {

/// What is to be done now, in the order of the members; by itself nothing.
struct Decision {
    bool cancel_timers{false};                           ///< those of the two delays below
    int signal{0};                                       ///< for the daemon; 0: none
    std::optional<std::chrono::milliseconds> kill_in{};  ///< then SIGKILL, unless it has ended
    std::optional<std::chrono::milliseconds> start_in{}; ///< then the daemon is to be started
    bool leave{false};                                   ///< the supervisor ends
};

/// The states of one supervised daemon. A delay that is decided on replaces the
/// one of its kind.
class Supervision {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;
    using Duration = std::chrono::milliseconds;

    explicit Supervision(const Settings& settings);

    /// The daemon is about to be started; started() or could_not_start() follows.
    /// The silence that is allowed to it begins here.
    void starting(Time now);
    void started();
    Decision could_not_start();

    /// A heartbeat has arrived.
    void heartbeat(Time now);
    /// To be called regularly: ends a daemon that is silent for too long.
    Decision tick(Time now);
    /// The daemon has ended by itself or by a signal, after `run_time`.
    Decision ended(Duration run_time);
    /// A request of this message type has reached the daemon. After type 11 it is
    /// started again at once, after type 5 the supervisor ends with it.
    Decision request_forwarded(std::uint16_t type);
    /// The daemon is to end, and then the supervisor.
    Decision shut_down();

    /// The daemon was asked to end: its end is no fault.
    bool end_is_expected() const { return m_state == State::leaving || m_state == State::stopping; }
    /// An operator has asked that daemon and supervisor end and stay down.
    bool is_terminated() const { return m_terminated; }
    /// Attempts to start the daemon after the first.
    unsigned restarts() const { return m_starts > 1 ? m_starts - 1 : 0; }
    /// Whether the daemon has sent a heartbeat since its start.
    bool is_heard() const { return m_heard; }
    /// Since the last heartbeat, or since the start.
    Duration silence(Time now) const;

private:
    enum class State {
        down,     ///< no daemon; it is to be started after a delay
        running,  ///< the daemon is watched
        killing,  ///< it hung, and was sent SIGABRT
        leaving,  ///< it was asked to end, and is started again
        stopping, ///< it was asked to end, and the supervisor ends with it
    };

    Settings m_settings;
    BackOff m_back_off;
    State m_state{State::down};
    Time m_last_sign; ///< last heartbeat, or start
    bool m_heard{false};
    bool m_terminated{false};
    unsigned m_starts{0};
};

} // namespace vos_watchdog
