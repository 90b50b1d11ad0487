#include "event/socket_watch.h"

#include <utility>

namespace nyx {

namespace {

constexpr int default_priority = -1;

} // namespace

SocketWatch::SocketWatch(std::function<void()> on_readable)
    : m_on_readable(std::move(on_readable)),
      m_event(event_readable | event_persistent, &SocketWatch::on_event, this)
{
}

bool SocketWatch::start(int fd)
{
    return m_event.add(fd, default_priority);
}

void SocketWatch::on_event(int, short, void* self)
{
    static_cast<SocketWatch*>(self)->m_on_readable();
}

SocketWait::SocketWait(std::function<void(Outcome)> on_end)
    : m_on_end(std::move(on_end)),
      m_event(event_readable | event_timed_out, &SocketWait::on_event, this)
{
}

bool SocketWait::await(int fd, std::chrono::milliseconds longest)
{
    return m_event.add(fd, static_cast<unsigned>(longest.count()), default_priority);
}

bool SocketWait::await(int fd)
{
    return m_event.add(fd, default_priority);
}

void SocketWait::on_event(int, short events, void* self)
{
    const auto on_end = static_cast<SocketWait*>(self)->m_on_end; // a copy: the wait may go
    on_end((events & event_readable) != 0 ? Outcome::readable : Outcome::timed_out);
}

} // namespace nyx
