#include "watchdog/supervision.h"

#include "platform/ipc/ipc_record.h"

#include <csignal>
#include <utility>

namespace vos_watchdog {

Supervision::Supervision(const Settings& settings)
    : m_settings(settings), m_back_off(settings.restart_delay, settings.longest_restart_delay)
{
}

void Supervision::starting(Time now)
{
    ++m_starts;
    m_last_sign = now;
    m_heard = false;
}

void Supervision::started()
{
    m_state = State::running;
}

Decision Supervision::could_not_start()
{
    return {.start_in = m_back_off.delay_after(Duration(0))};
}

void Supervision::heartbeat(Time now)
{
    m_last_sign = now;
    m_heard = true;
}

Decision Supervision::tick(Time now)
{
    if (m_state != State::running || silence(now) < m_settings.heartbeat_timeout)
        return {};
    m_state = State::killing;
    return {.signal = SIGABRT, .kill_in = m_settings.kill_delay};
}

Decision Supervision::ended(Duration run_time)
{
    switch (std::exchange(m_state, State::down)) {
    case State::stopping:
        return {.cancel_timers = true, .leave = true};
    case State::leaving:
        return {.cancel_timers = true, .start_in = Duration(0)};
    default:
        return {.cancel_timers = true, .start_in = m_back_off.delay_after(run_time)};
    }
}

Decision Supervision::request_forwarded(std::uint16_t type)
{
    const bool ends = type == ipc_stop || type == ipc_terminate;
    if (!ends || m_state == State::stopping || m_state == State::down)
        return {};
    m_terminated = type == ipc_terminate;
    m_state = m_terminated ? State::stopping : State::leaving;
    return {.kill_in = m_settings.stop_timeout};
}

Decision Supervision::shut_down()
{
    if (m_state == State::down)
        return {.cancel_timers = true, .leave = true};
    if (std::exchange(m_state, State::stopping) == State::stopping)
        return {};
    return {.signal = SIGTERM, .kill_in = m_settings.stop_timeout};
}

Supervision::Duration Supervision::silence(Time now) const
{
    return std::chrono::duration_cast<Duration>(now - m_last_sign);
}

} // namespace vos_watchdog
