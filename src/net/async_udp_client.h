// A connected, non-blocking UDP socket on the event loop.
#pragma once

#include "common/buffer_event.h"
#include "platform/file/unique_fd.h"

#include <netinet/in.h>

#include <memory>
#include <string>

namespace nyx {

/// The kernel picks the source port at random, and lets only datagrams of the
/// server that it is connected to in. The operations that end in "cb" are
/// called by the event loop; each may destroy the object.
class UDPClient {
public:
    UDPClient() = default;
    UDPClient(const UDPClient&) = delete;
    UDPClient& operator=(const UDPClient&) = delete;

    /// The socket is connected; nothing has been sent.
    virtual void on_connect_success() = 0;
    /// The connect, or the socket since, has failed or timed out: one record
    /// says which.
    virtual void on_connect_failure() = 0;
    /// All that was written has been sent.
    virtual void on_writecb() = 0;
    /// A datagram, maybe an empty one, waits in m_buffer.
    virtual void on_readcb() = 0;
    virtual ~UDPClient() = default;

    /// Makes the socket, bound to `source_address` unless that is empty. Its
    /// descriptor, owned by this object; -1, and one error record, on failure.
    int create_socket(const std::string& source_address);

    /// Starts to connect to `address` (network order), with a socket made now
    /// if there is none. `timeout_ms` bounds that; -1: nothing does. True when
    /// it has started; its outcome comes on the next loop turn.
    bool connect(unsigned int address, int port, int timeout_ms, const std::string& source_address);

protected:
    /// The buffer event's callbacks; `arg` is the UDPClient.
    static void eventcb(short events, void* arg);
    static void readcb(void* arg);
    static void writecb(void* arg);

    /// Ends the sending and starts the reading. False when the loop can not wait
    /// for the socket: the connection has failed then, and the object may be gone.
    bool await_datagrams();
    /// Closes the socket; nothing is called back until the next connect().
    void cleanup();
    /// Bounds the wait for the next datagram, and for the next sending. False,
    /// and one error record, on failure.
    bool set_timeout_ms(unsigned int milliseconds);
    /// The server's address in dotted-quad form.
    std::string server_address() const;

    std::unique_ptr<NYXBufferEvent> m_buffer; ///< null until there is a socket

private:
    bool create_buffer();
    static void errorcb(int fd, short events, void* arg);
    bool has_no_error();
    bool has_late_datagram();

    platform::UniqueFd m_socket; ///< until the buffer event owns it
    in_addr_t m_server{};
    int m_late_datagrams{0}; ///< read after the time-out
    NYXEventLibEvent m_error_event{event_readable | event_persistent, &errorcb, this};
};

} // namespace nyx
