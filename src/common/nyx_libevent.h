// The event loop: one libevent base per process, and re-armable events on it.
//
// Every callback runs on the thread that called NYXEventBase::dispatch();
// nothing here may be called from another thread. Adding an event always means
// re-arming it: a pending event is removed first. What a callback throws is
// kept at its edge, the loop is broken, and dispatch() throws it again: no
// exception crosses libevent's own frames.
//
// libevent's own names end here and in buffer_event.h; event/ has typed timers
// and watches on top of these classes.
#pragma once

#include "common/loop_stall.h"
#include "platform/logger/gathered_records.h"

#include <event2/event.h>
#include <event2/event_struct.h>

#include <cstdint>
#include <memory>

struct sockaddr;

namespace nyx {

class NYXBufferEvent;
class NYXEventConnListener;

/// What an event waits for, and what it was called for.
inline constexpr short event_timed_out = 0x01;
inline constexpr short event_readable = 0x02;
inline constexpr short event_writable = 0x04;
inline constexpr short event_signalled = 0x08;
inline constexpr short event_persistent = 0x10; ///< stays armed when it was called

/// Callbacks of a buffered connection and of a listener; `arg` is the untyped
/// argument that they were registered with.
using BufferCallback = void (*)(void* arg);
using BufferEventCallback = void (*)(short events, void* arg);
using AcceptCallback = void (*)(int fd, sockaddr* peer, void* arg);

/// A handle to the one event base of the process.
class NYXEventBase {
public:
    NYXEventBase() = default;
    NYXEventBase(const NYXEventBase&) = delete;
    NYXEventBase& operator=(const NYXEventBase&) = delete;
    /// Frees the base, unless a signal event was refused; it lasts to the end of the
    /// process then. Events must have been deleted or destroyed before.
    virtual ~NYXEventBase();

    /// Creates the base. Throws std::runtime_error when it exists already or
    /// can not be created.
    void init();

    /// Runs the loop until it is broken or left; returns only then. Throws
    /// std::runtime_error when the loop ends in any other way, when there is
    /// no base, and whatever a callback threw.
    void dispatch();

    /// Sets the number of priority levels; only before the first event.
    void set_event_base_priorities(int n);
    int get_event_base_priorities() const;

    /// A buffered connection on the base (see NYXBufferEvent), or a listener
    /// (see NYXEventConnListener). Throws std::runtime_error without a base.
    std::unique_ptr<NYXBufferEvent> alloc_buffer_event(int fd, BufferCallback on_read,
                                                       BufferCallback on_write,
                                                       BufferEventCallback on_event, void* arg);
    std::unique_ptr<NYXEventConnListener> alloc_conn_listener(unsigned short port,
                                                              unsigned int flags,
                                                              AcceptCallback on_accept, void* arg);

    /// Ends the loop after the callback that runs now, and after the other
    /// events of the signal that it serves.
    static void loop_break();
    /// Ends the loop when the callbacks that are active now have run.
    static void loop_exit();
    /// Takes the time anew, so that a timer armed by a long callback counts
    /// from now and not from the callback's start.
    static void update_cache_time();

    /// The longest that the loop was kept from its work since it began, by one
    /// callback or from a timer that was due: milliseconds. See LoopStall.
    static std::int64_t longest_stall_ms();

    static bool is_initialized() { return raw() != nullptr; }
    /// The libevent base, null before init(). For the wrappers of this library.
    static event_base* raw();
    /// Has libevent check how it is used; before init(), and once. What is wrong
    /// ends the process, but for an event on a blocking descriptor 0: its add()
    /// fails.
    static void enable_debug_mode();
    /// In builds with assertions: ends the process when a loop runs and this is
    /// not its thread.
    static void assert_loop_thread();
    /// Runs `callback`; keeps what it throws for dispatch() and breaks the
    /// loop. Every callback that libevent makes goes through here, and has its log
    /// records written at its end. A template, as the call must not need memory
    /// outside of the guard.
    template <typename Callback>
    static void run_guarded(const Callback& callback) noexcept
    {
        const auto start = LoopStall::Clock::now();
        try {
            const GatheredRecords gathered;
            callback();
        } catch (...) {
            keep_exception();
        }
        callback_ran(start);
    }

private:
    static void keep_exception() noexcept;
    static void callback_ran(LoopStall::Time start) noexcept;
};

/// Signature of an event's callback: descriptor or signal, flags, argument.
using EventCallback = void (*)(int, short, void*);

/// One event. Construction touches no base, so events may be static objects.
class NYXEventLibEvent {
public:
    /// `flags` are of event_readable and its siblings; `arg` is not owned and
    /// must outlive the event.
    NYXEventLibEvent(short flags, EventCallback callback, void* arg);
    NYXEventLibEvent(const NYXEventLibEvent&) = delete;
    NYXEventLibEvent& operator=(const NYXEventLibEvent&) = delete;
    virtual ~NYXEventLibEvent();

    bool is_pending() const;

    /// Removes the event; true when it is no longer pending. `log` also
    /// records the outcome.
    bool del(bool log);

    /// Arms the event on `fd` with a time-out of `ms` milliseconds. A priority
    /// of -1 keeps the default; any other throws std::runtime_error without a
    /// base. False, and one error record, on failure.
    bool add(int fd, unsigned int ms, int priority);
    /// The same without a time-out.
    bool add(int fd, int priority);

private:
    static void forward(int fd, short flags, void* self);
    bool internal_add(int fd, const timeval* timeout, int priority);
    void forget_signal_event();
    static void run_other_events_of_signal(int signal);

    /// Signal events that libevent holds: a list without a destructor, since
    /// events are static objects that may go later than any list would.
    static inline NYXEventLibEvent* first_signal_event{nullptr};

    NYXEventLibEvent* m_next_signal_event{nullptr};
    short m_flags;
    struct event m_event;
    EventCallback m_callback;
    void* m_arg;
    LoopStall::Time m_due{}; ///< when its time-out ends
};

/// A one-shot timer.
class NYXEventLibEventTimer : public NYXEventLibEvent {
public:
    NYXEventLibEventTimer(EventCallback callback, void* arg, int fd)
        : NYXEventLibEvent(event_timed_out, callback, arg), m_fd(fd)
    {
    }

    /// Fires once, `ms` milliseconds from now; 0 means on the next loop turn.
    bool charge(unsigned int ms)
    {
        NYXEventBase::update_cache_time();
        return add(m_fd, ms, -1);
    }

private:
    int m_fd;
};

/// A timer that fires every `ms` of its add() until it is deleted.
class NYXEventLibEventPersistTimer : public NYXEventLibEvent {
public:
    NYXEventLibEventPersistTimer(EventCallback callback, void* arg)
        : NYXEventLibEvent(event_timed_out | event_persistent, callback, arg)
    {
    }
};

/// A signal event; it stays armed after each delivery.
class NYXEventLibEventSignal : public NYXEventLibEvent {
public:
    NYXEventLibEventSignal(int signal, EventCallback callback, void* arg)
        : NYXEventLibEvent(event_signalled | event_persistent, callback, arg), m_signal(signal)
    {
    }

    /// The signal that this event is for.
    int signal() const { return m_signal; }

private:
    int m_signal;
};

} // namespace nyx
