// Timers on the event loop.
#pragma once

#include "common/nyx_libevent.h"

#include <chrono>
#include <functional>

namespace nyx {

/// Calls `on_due` once each time that it is charged. Loop thread only; may be
/// destroyed by what it calls.
class Timer {
public:
    explicit Timer(std::function<void()> on_due);

    /// Due in `delay`, 0 on the next turn of the loop; one that is pending is
    /// charged anew. False, and one error record, when libevent refuses.
    bool charge(std::chrono::milliseconds delay);
    void cancel() { m_event.del(false); }
    bool is_pending() const { return m_event.is_pending(); }

private:
    static void on_event(int, short, void* self);

    std::function<void()> m_on_due;
    NYXEventLibEventTimer m_event;
};

/// Calls `on_due` again and again.
class PeriodicTimer {
public:
    explicit PeriodicTimer(std::function<void()> on_due);

    /// Due each `period` from now on. Results as of Timer::charge().
    bool start(std::chrono::milliseconds period);

private:
    static void on_event(int, short, void* self);

    std::function<void()> m_on_due;
    NYXEventLibEventPersistTimer m_event;
};

} // namespace nyx
