// How long the event loop was kept from its work at worst.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace nyx {

/// Fed by the loop's wrappers: with how late a timer ran (other callbacks, or a
/// machine that gave this process no time, kept the loop from it) and with how
/// long one callback took. The larger of the two is the stall. No allocation.
class LoopStall {
public:
    using Clock = std::chrono::steady_clock;
    using Time = Clock::time_point;

    /// The loop begins: a timer that was due before is not late before `now`.
    void begin(Time now) { m_begun = now; }
    void timer_ran(Time due, Time now) { keep(now - std::max(due, m_begun)); }
    void callback_ran(Time start, Time end) { keep(end - start); }

    /// Whole milliseconds; 0 before anything ran.
    std::int64_t longest_ms() const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(m_longest).count();
    }

private:
    void keep(Clock::duration stall) { m_longest = std::max(m_longest, stall); }

    Time m_begun{};
    Clock::duration m_longest{};
};

} // namespace nyx
