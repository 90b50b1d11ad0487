// Tells the supervisor how the daemon fares.
#pragma once

#include "common/nyx_libevent.h"

#include <chrono>

namespace nyx_monitor {

/// One record on the control link for all that happens within a second. A link
/// that is full or lost costs the record. Loop thread only.
class NodeStatusSender {
public:
    NodeStatusSender() : m_timer(on_due, this, -1) {}

    /// Something has changed: a record follows on the next loop turn, or when
    /// the last one is a second old.
    void tell();

private:
    static void on_due(evutil_socket_t, short, void* self);

    nyx::NYXEventLibEventTimer m_timer;
    std::chrono::steady_clock::time_point m_last{}; ///< when the last one was due
};

} // namespace nyx_monitor
