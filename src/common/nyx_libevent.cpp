#include "common/nyx_libevent.h"

#include "platform/logger/fatal_signals.h"
#include "platform/logger/sup_logger.h"

#include <fcntl.h>

#include <atomic>
#include <cassert>
#include <cerrno>
#include <exception>
#include <stdexcept>
#include <thread>
#include <utility>

namespace nyx {

static_assert(event_timed_out == EV_TIMEOUT && event_readable == EV_READ &&
              event_writable == EV_WRITE && event_signalled == EV_SIGNAL &&
              event_persistent == EV_PERSIST);

namespace {

event_base* the_base = nullptr;
bool debug_mode = false;
bool refused_a_signal = false;
std::atomic<std::thread::id> loop_thread; ///< while dispatch() runs; else nobody's
std::exception_ptr thrown_by_callback;
LoopStall stall;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("NYXEventLibEvent");
    return instance;
}

[[noreturn]] void fail(const char* text)
{
    throw std::runtime_error(text);
}

int count_priorities()
{
    if (the_base == nullptr)
        fail("Exception in get_event_base_priorities");
    return event_base_get_npriorities(the_base);
}

/// Makes `fd` fit for an event; false, and one error record, when it is not.
/// Descriptor 0 is left as it is: a blocking standard input is shared with
/// whoever started the process. libevent's debug mode ends the process on one.
bool make_fit(int fd)
{
    if (fd == 0 && debug_mode && (::fcntl(fd, F_GETFL) & O_NONBLOCK) == 0) {
        logger().error("Failed to add event. Descriptor 0 is a blocking one");
        return false;
    }
    if (fd < 1 || evutil_make_socket_nonblocking(fd) == 0)
        return true;
    logger().error("Failed to set socket as non-blocking. errno: ", errno);
    return false;
}

} // namespace

// ---- NYXEventBase

NYXEventBase::~NYXEventBase()
{
    // When a signal event is refused libevent leaves one of its own half armed, and its
    // debug mode takes freeing the base for misuse then. The process ends anyway.
    if (the_base != nullptr && !refused_a_signal)
        event_base_free(std::exchange(the_base, nullptr));
}

void NYXEventBase::init()
{
    if (the_base != nullptr)
        fail("Duplicate initialization of NYXEventBase");
    the_base = event_base_new();
    if (the_base == nullptr)
        fail("Failed to allocate a new event base.");
}

void NYXEventBase::dispatch()
{
    if (the_base == nullptr)
        fail("Exception in event_base_dispatch");
    stall.begin(LoopStall::Clock::now());
    loop_thread = std::this_thread::get_id();
    const FatalSignals last_records; // above libevent's handlers: it may be stuck in a callback
    const int result = event_base_dispatch(the_base);
    loop_thread = std::thread::id();
    if (thrown_by_callback)
        std::rethrow_exception(std::exchange(thrown_by_callback, nullptr));
    if (result != 0)
        fail("Exception in event_base_dispatch");
}

void NYXEventBase::set_event_base_priorities(int n)
{
    if (the_base == nullptr)
        fail("Exception in set_event_base_priorities");
    event_base_priority_init(the_base, n);
}

int NYXEventBase::get_event_base_priorities() const
{
    return count_priorities();
}

void NYXEventBase::enable_debug_mode()
{
    event_enable_debug_mode();
    debug_mode = true;
}

void NYXEventBase::assert_loop_thread()
{
    assert(loop_thread.load() == std::thread::id() ||
           loop_thread.load() == std::this_thread::get_id());
}

void NYXEventBase::loop_break()
{
    assert_loop_thread();
    if (the_base != nullptr)
        event_base_loopbreak(the_base);
}

void NYXEventBase::loop_exit()
{
    assert_loop_thread();
    // Without memory for its timer: at once, rather than never.
    if (the_base != nullptr && event_base_loopexit(the_base, nullptr) != 0)
        loop_break();
}

void NYXEventBase::update_cache_time()
{
    if (the_base != nullptr)
        event_base_update_cache_time(the_base);
}

std::int64_t NYXEventBase::longest_stall_ms()
{
    return stall.longest_ms();
}

event_base* NYXEventBase::raw()
{
    return the_base;
}

void NYXEventBase::keep_exception() noexcept
{
    if (!thrown_by_callback)
        thrown_by_callback = std::current_exception();
    loop_break();
}

void NYXEventBase::callback_ran(LoopStall::Time start) noexcept
{
    stall.callback_ran(start, LoopStall::Clock::now());
}

// ---- NYXEventLibEvent

NYXEventLibEvent::NYXEventLibEvent(short flags, EventCallback callback, void* arg)
    : m_flags(flags), m_event(), m_callback(callback), m_arg(arg)
{
}

NYXEventLibEvent::~NYXEventLibEvent()
{
    del(false);
    // libevent's debug mode remembers every event that it ever saw; one that
    // goes away has to be taken out of that table too.
    if (event_initialized(&m_event))
        event_debug_unassign(&m_event);
}

bool NYXEventLibEvent::is_pending() const
{
    // With the base gone libevent has forgotten the event.
    return the_base != nullptr && event_initialized(&m_event) &&
           event_pending(&m_event, m_flags, nullptr) != 0;
}

bool NYXEventLibEvent::del(bool log)
{
    NYXEventBase::assert_loop_thread();
    const bool was_pending = is_pending();
    if (was_pending && event_del(&m_event) != 0) {
        if (log)
            logger().error("Failed to delete event. errno: ", errno);
        return false;
    }
    forget_signal_event(); // also one whose base went before it
    if (log && was_pending)
        logger().trace("Event removed");
    return true;
}

bool NYXEventLibEvent::add(int fd, unsigned int ms, int priority)
{
    const timeval timeout{static_cast<time_t>(ms / 1000),
                          static_cast<suseconds_t>((ms % 1000) * 1000)};
    return internal_add(fd, &timeout, priority);
}

bool NYXEventLibEvent::add(int fd, int priority)
{
    return internal_add(fd, nullptr, priority);
}

bool NYXEventLibEvent::internal_add(int fd, const timeval* timeout, int priority)
{
    const bool was_pending = is_pending();
    if (!del(false) || ((m_flags & event_signalled) == 0 && !make_fit(fd)))
        return false;
    event_assign(&m_event, the_base, fd, m_flags, forward, this);
    // A priority equal to the count is passed on too; libevent refuses it and
    // the default stays.
    if (priority >= 0 && priority <= count_priorities())
        event_priority_set(&m_event, priority);
    if (event_add(&m_event, timeout) != 0) {
        const int error = errno;
        // libevent's debug mode takes it for added all the same, and would end the
        // process once it is armed again or goes.
        event_del(&m_event);
        refused_a_signal = refused_a_signal || (m_flags & event_signalled) != 0;
        logger().error("Failed to ", was_pending ? "recharged" : "add", " event. errno: ", error);
        return false;
    }
    if (timeout != nullptr)
        m_due = LoopStall::Clock::now() + std::chrono::seconds(timeout->tv_sec) +
                std::chrono::microseconds(timeout->tv_usec);
    if (m_flags & event_signalled)
        m_next_signal_event = std::exchange(first_signal_event, this);
    if (was_pending)
        logger().trace("Event was recharged");
    return true;
}

void NYXEventLibEvent::forget_signal_event()
{
    auto** link = &first_signal_event;
    while (*link != nullptr && *link != this)
        link = &(*link)->m_next_signal_event;
    if (*link != nullptr)
        *link = m_next_signal_event;
}

void NYXEventLibEvent::forward(int fd, short flags, void* self)
{
    auto& event = *static_cast<NYXEventLibEvent*>(self);
    if ((event.m_flags & event_persistent) == 0) {
        event.forget_signal_event();
        // One that persists is armed again by libevent: when it is due is not known here.
        if ((flags & event_timed_out) != 0)
            stall.timer_ran(event.m_due, LoopStall::Clock::now());
    }
    // Copies: the callback may destroy the event.
    const auto callback = event.m_callback;
    auto* const arg = event.m_arg;
    const bool is_signal = (event.m_flags & event_signalled) != 0;
    NYXEventBase::run_guarded([&] { callback(fd, flags, arg); });
    if (is_signal && event_base_got_break(the_base))
        run_other_events_of_signal(fd);
}

/// libevent stops between two events of one signal once the loop is broken;
/// one delivery is to reach every event on the signal all the same.
void NYXEventLibEvent::run_other_events_of_signal(int signal)
{
    const auto next_waiting = [signal] {
        auto* event = first_signal_event;
        while (event != nullptr && (event->m_event.ev_fd != signal ||
                                    (event->m_event.ev_evcallback.evcb_flags & EVLIST_ACTIVE) == 0))
            event = event->m_next_signal_event;
        return event;
    };
    // From the list's begin each time: the callback may have changed it.
    while (auto* const other = next_waiting()) {
        other->del(false); // no longer active
        if ((other->m_flags & event_persistent) != 0)
            other->add(signal, -1);
        NYXEventBase::run_guarded(
            [&] { other->m_callback(signal, event_signalled, other->m_arg); });
    }
}

} // namespace nyx
