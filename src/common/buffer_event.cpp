#include "common/buffer_event.h"

#include "platform/file/unique_fd.h"
#include "platform/logger/sup_logger.h"

#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <stdexcept>

namespace nyx {

static_assert(buffer_reading == BEV_EVENT_READING && buffer_eof == BEV_EVENT_EOF &&
              buffer_error == BEV_EVENT_ERROR && buffer_timeout == BEV_EVENT_TIMEOUT &&
              buffer_connected == BEV_EVENT_CONNECTED);

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("NYXBufferEvent");
    return instance;
}

/// True unless `result` tells of a failure, which is then logged with errno.
bool succeeded(int result, const char* error_text)
{
    if (result >= 0)
        return true;
    logger().error(error_text, errno);
    return false;
}

int set_mark(int fd, int value)
{
    return ::setsockopt(fd, SOL_SOCKET, SO_MARK, &value, sizeof value);
}

sockaddr_in ipv4_address(unsigned int ip, unsigned short port)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = ip;
    address.sin_port = htons(port);
    return address;
}

} // namespace

NYXBufferEvent::NYXBufferEvent(event_base* base, int fd, BufferCallback on_read,
                               BufferCallback on_write, BufferEventCallback on_event, void* arg)
    : m_buffer(bufferevent_socket_new(base, fd, BEV_OPT_CLOSE_ON_FREE)), m_on_read(on_read),
      m_on_write(on_write), m_on_event(on_event), m_arg(arg)
{
    if (m_buffer == nullptr)
        throw std::runtime_error("Exception in NYXBufferEvent::NYXBufferEvent");
    bufferevent_setcb(m_buffer, on_read != nullptr ? forward_read : nullptr,
                      on_write != nullptr ? forward_write : nullptr,
                      on_event != nullptr ? forward_event : nullptr, this);
}

NYXBufferEvent::~NYXBufferEvent()
{
    bufferevent_disable(m_buffer, EV_READ | EV_WRITE | EV_SIGNAL | EV_TIMEOUT);
    bufferevent_free(m_buffer);
}

bool NYXBufferEvent::set_timeouts(const timeval* read, const timeval* write)
{
    return succeeded(bufferevent_set_timeouts(m_buffer, read, write),
                     "Error in set_timeouts. errno: ");
}

bool NYXBufferEvent::write(const void* data, std::size_t size)
{
    NYXEventBase::assert_loop_thread();
    return succeeded(bufferevent_write(m_buffer, data, size),
                     "Error in bufferevent_write. errno: ");
}

bool NYXBufferEvent::enable(short events)
{
    NYXEventBase::assert_loop_thread();
    return succeeded(bufferevent_enable(m_buffer, events), "Error in enabled. errno: ");
}

bool NYXBufferEvent::disable(short events)
{
    return succeeded(bufferevent_disable(m_buffer, events), "Error in disable. errno: ");
}

int NYXBufferEvent::read(void* data, std::size_t size)
{
    NYXEventBase::assert_loop_thread();
    const auto count = static_cast<int>(bufferevent_read(m_buffer, data, size));
    succeeded(count, "Error in bufferevent_read. errno: ");
    return count;
}

bool NYXBufferEvent::socket_connect(unsigned int ip, unsigned short port)
{
    auto address = ipv4_address(ip, port);
    return succeeded(
        bufferevent_socket_connect(m_buffer, reinterpret_cast<sockaddr*>(&address), sizeof address),
        "Error in bufferevent_socket_connect. errno: ");
}

bool NYXBufferEvent::socket_connect(unsigned int ip, unsigned short port, int mark_value)
{
    if (mark_value < 0)
        return socket_connect(ip, port);
    platform::UniqueFd socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!succeeded(socket.get(), "Error in socket. errno: "))
        return false;
    if (evutil_make_socket_nonblocking(socket.get()) != 0) {
        logger().error("Error in evutil_make_socket_nonblocking");
        return false;
    }
    if (!succeeded(set_mark(socket.get(), mark_value), "Error in setsockopt SO_MARK, errno: "))
        return false;
    take_socket(socket.release());
    if (socket_connect(ip, port))
        return true;
    take_socket(-1);
    return false;
}

void NYXBufferEvent::take_socket(int fd)
{
    const platform::UniqueFd before(get_fd());
    bufferevent_setfd(m_buffer, fd);
}

int NYXBufferEvent::get_fd() const
{
    return static_cast<int>(bufferevent_getfd(m_buffer));
}

bool NYXBufferEvent::mark(int value)
{
    return set_mark(get_fd(), value) == 0;
}

void NYXBufferEvent::forward_read(bufferevent*, void* self)
{
    const auto& own = *static_cast<NYXBufferEvent*>(self);
    NYXEventBase::run_guarded([on_read = own.m_on_read, arg = own.m_arg] { on_read(arg); });
}

void NYXBufferEvent::forward_write(bufferevent*, void* self)
{
    const auto& own = *static_cast<NYXBufferEvent*>(self);
    NYXEventBase::run_guarded([on_write = own.m_on_write, arg = own.m_arg] { on_write(arg); });
}

void NYXBufferEvent::forward_event(bufferevent*, short events, void* self)
{
    const auto& own = *static_cast<NYXBufferEvent*>(self);
    NYXEventBase::run_guarded(
        [on_event = own.m_on_event, events, arg = own.m_arg] { on_event(events, arg); });
}

NYXEventConnListener::NYXEventConnListener(event_base* base, unsigned short port,
                                           unsigned int flags, AcceptCallback on_accept, void* arg)
    : m_listener(nullptr), m_on_accept(on_accept), m_arg(arg)
{
    auto address = ipv4_address(htonl(INADDR_ANY), port);
    m_listener = evconnlistener_new_bind(base, forward_accept, this, flags, -1,
                                         reinterpret_cast<sockaddr*>(&address), sizeof address);
    if (m_listener == nullptr)
        throw std::runtime_error(
            "Exception in NYXEventConnListener::NYXEventConnListener, bind failed");
}

NYXEventConnListener::~NYXEventConnListener()
{
    evconnlistener_free(m_listener);
}

void NYXEventConnListener::forward_accept(evconnlistener*, evutil_socket_t fd, sockaddr* peer, int,
                                          void* self)
{
    const auto& own = *static_cast<NYXEventConnListener*>(self);
    NYXEventBase::run_guarded([on_accept = own.m_on_accept, fd, peer, arg = own.m_arg] {
        on_accept(static_cast<int>(fd), peer, arg);
    });
}

std::unique_ptr<NYXBufferEvent> NYXEventBase::alloc_buffer_event(int fd, BufferCallback on_read,
                                                                 BufferCallback on_write,
                                                                 BufferEventCallback on_event,
                                                                 void* arg)
{
    if (raw() == nullptr)
        throw std::runtime_error("Exception in alloc_buffer_event");
    return std::make_unique<NYXBufferEvent>(raw(), fd, on_read, on_write, on_event, arg);
}

std::unique_ptr<NYXEventConnListener> NYXEventBase::alloc_conn_listener(unsigned short port,
                                                                        unsigned int flags,
                                                                        AcceptCallback on_accept,
                                                                        void* arg)
{
    if (raw() == nullptr)
        throw std::runtime_error("Exception in alloc_conn_listener");
    return std::make_unique<NYXEventConnListener>(raw(), port, flags, on_accept, arg);
}

} // namespace nyx
