// Waiting for sockets on the event loop.
#pragma once

#include "common/nyx_libevent.h"

#include <chrono>
#include <functional>

namespace nyx {

/// Calls `on_readable` whenever something waits on a descriptor. Loop thread
/// only.
class SocketWatch {
public:
    explicit SocketWatch(std::function<void()> on_readable);

    /// Watches `fd`, which it makes non-blocking, and not the one before. Not
    /// owned; stop() before it is closed. False, and one error record, when
    /// libevent refuses.
    bool start(int fd);
    void stop() { m_event.del(false); }

private:
    static void on_event(int, short, void* self);

    std::function<void()> m_on_readable;
    NYXEventLibEvent m_event;
};

/// Waits for a descriptor once each time that it is asked to. Loop thread only;
/// may be destroyed by what it calls.
class SocketWait {
public:
    enum class Outcome { readable, timed_out };

    explicit SocketWait(std::function<void(Outcome)> on_end);

    /// Until something waits on `fd`, or for `longest`. Otherwise as
    /// SocketWatch::start().
    bool await(int fd, std::chrono::milliseconds longest);
    /// Until something waits on `fd`.
    bool await(int fd);
    void cancel() { m_event.del(false); }

private:
    static void on_event(int, short events, void* self);

    std::function<void(Outcome)> m_on_end;
    NYXEventLibEvent m_event;
};

} // namespace nyx
