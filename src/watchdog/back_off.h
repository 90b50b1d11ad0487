// How long a daemon that ended by itself stays down.
#pragma once

#include <algorithm>
#include <chrono>

namespace vos_watchdog {

/// Doubles from the shortest delay to the longest while the daemon keeps ending
/// at once; a daemon that ran for as long as the longest delay starts it anew.
class BackOff {
public:
    using Duration = std::chrono::milliseconds;

    BackOff(Duration shortest, Duration longest)
        : m_shortest(shortest), m_longest(std::max(shortest, longest)), m_next(shortest)
    {
    }

    /// The delay after a run of `run_time`.
    Duration delay_after(Duration run_time)
    {
        if (run_time >= m_longest)
            m_next = m_shortest;
        const auto delay = m_next;
        m_next = std::min(2 * m_next, m_longest);
        return delay;
    }

private:
    Duration m_shortest;
    Duration m_longest;
    Duration m_next;
};

} // namespace vos_watchdog
