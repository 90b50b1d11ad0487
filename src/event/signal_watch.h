// Signals as events of the loop.
#pragma once

#include "common/nyx_libevent.h"

#include <functional>

namespace nyx {

/// Calls `on_signal` for each delivery of a signal, between two other callbacks.
/// Loop thread only.
class SignalWatch {
public:
    SignalWatch(int signal, std::function<void()> on_signal);

    /// False, and one error record, when libevent refuses.
    bool start();

private:
    static void on_event(int, short, void* self);

    std::function<void()> m_on_signal;
    NYXEventLibEventSignal m_event;
};

} // namespace nyx
