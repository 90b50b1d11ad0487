// Buffered socket connections and a listening socket on the event loop.
#pragma once

#include "common/nyx_libevent.h"

#include <event2/bufferevent.h>
#include <event2/listener.h>

#include <cstddef>

namespace nyx {

/// What a buffered connection tells its event callback.
inline constexpr short buffer_reading = 0x01; ///< it happened while reading
inline constexpr short buffer_eof = 0x10;
inline constexpr short buffer_error = 0x20;
inline constexpr short buffer_timeout = 0x40;
inline constexpr short buffer_connected = 0x80;

/// One buffered connection. Owns its socket. A failed operation is logged with
/// errno and answered with false.
class NYXBufferEvent {
public:
    /// `fd` may be -1 (a socket is made at connect). A null callback is not
    /// called; `arg` is not owned. Throws std::runtime_error when libevent
    /// gives no buffer event.
    NYXBufferEvent(event_base* base, int fd, BufferCallback on_read, BufferCallback on_write,
                   BufferEventCallback on_event, void* arg);
    NYXBufferEvent(const NYXBufferEvent&) = delete;
    NYXBufferEvent& operator=(const NYXBufferEvent&) = delete;
    virtual ~NYXBufferEvent();

    /// Null means no time-out in that direction.
    bool set_timeouts(const timeval* read, const timeval* write);
    bool write(const void* data, std::size_t size);
    /// `events` are event_readable and event_writable.
    bool enable(short events);
    bool disable(short events);
    /// Bytes read, 0 when nothing waits, negative on an error.
    int read(void* data, std::size_t size);

    /// Starts to connect. `ip` is in network order, `port` in host order.
    bool socket_connect(unsigned int ip, unsigned short port);
    /// The same on a new socket with the firewall mark `mark`; none when negative.
    /// The socket is closed when it fails.
    bool socket_connect(unsigned int ip, unsigned short port, int mark);

    int get_fd() const;
    /// Sets the firewall mark of the socket.
    bool mark(int value);

private:
    /// Makes `fd` its socket, -1 for none, and closes the one before, which libevent
    /// would leave open.
    void take_socket(int fd);

    static void forward_read(bufferevent*, void* self);
    static void forward_write(bufferevent*, void* self);
    static void forward_event(bufferevent*, short events, void* self);

    bufferevent* m_buffer;
    BufferCallback m_on_read;
    BufferCallback m_on_write;
    BufferEventCallback m_on_event;
    void* m_arg;
};

/// A listening TCP socket on the IPv4 wildcard address.
class NYXEventConnListener {
public:
    /// `flags` are libevent's listener flags. Throws std::runtime_error when
    /// the port can not be bound.
    NYXEventConnListener(event_base* base, unsigned short port, unsigned int flags,
                         AcceptCallback on_accept, void* arg);
    NYXEventConnListener(const NYXEventConnListener&) = delete;
    NYXEventConnListener& operator=(const NYXEventConnListener&) = delete;
    virtual ~NYXEventConnListener();

private:
    static void forward_accept(evconnlistener*, evutil_socket_t fd, sockaddr* peer, int,
                               void* self);

    evconnlistener* m_listener;
    AcceptCallback m_on_accept;
    void* m_arg;
};

} // namespace nyx
