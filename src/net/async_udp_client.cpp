#include "net/async_udp_client.h"

#include "platform/logger/sup_logger.h"
#include "text/ipv4.h"
#include "text/result.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <sys/socket.h>

#include <exception>
#include <utility>

namespace nyx {

namespace {

constexpr int most_late_datagrams = 1000;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("UDPClient");
    return instance;
}

bool bind_to(int fd, const std::string& source_address)
{
    sockaddr_in source{};
    source.sin_family = AF_INET;
    return ::inet_pton(AF_INET, source_address.c_str(), &source.sin_addr) == 1 &&
           ::bind(fd, reinterpret_cast<const sockaddr*>(&source), sizeof source) == 0;
}

/// Binds `fd`, unless `source_address` is empty, and makes it non-blocking and
/// close-on-exec. The reasons are what log readers know, blanks and all.
text::Outcome prepare(int fd, const std::string& source_address)
{
    if (!source_address.empty() && !bind_to(fd, source_address))
        return text::Failure{" Unable to bind socket "};
    if (::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK) != 0)
        return text::Failure{" Unable to set socket to non blocking "};
    if (::fcntl(fd, F_SETFD, FD_CLOEXEC) != 0)
        return text::Failure{" Unable to set socket close on exec"};
    return text::done();
}

} // namespace

int UDPClient::create_socket(const std::string& source_address)
{
    platform::UniqueFd fd(::socket(AF_INET, SOCK_DGRAM, 0));
    if (!fd.valid()) {
        logger().error("create_socket", " Unable to create socket");
        return -1;
    }
    if (!source_address.empty())
        logger().debug("create_socket", ": Using source address ", source_address);
    const auto prepared = prepare(fd.get(), source_address);
    if (!prepared) {
        logger().error("create_socket", prepared.reason());
        return -1;
    }
    m_socket = std::move(fd);
    return m_socket.get();
}

bool UDPClient::connect(unsigned int address, int port, int timeout_ms,
                        const std::string& source_address)
{
    cleanup();
    if (!m_socket.valid() && create_socket(source_address) < 0)
        return false;
    m_server = address;
    m_late_datagrams = 0;
    if (!create_buffer()) {
        logger().error("connect", ": Failed to create buffer");
        return false;
    }
    if (timeout_ms >= 0)
        set_timeout_ms(static_cast<unsigned int>(timeout_ms));
    logger().debug("connect", ": Trying to connect NS:  ", server_address());
    // Enabling repeats what libevent has done, but tells whether it has.
    if (m_buffer->socket_connect(address, static_cast<unsigned short>(port)) &&
        m_buffer->enable(event_writable))
        return true;
    logger().warning("connect", " Connect return with error");
    return false;
}

bool UDPClient::create_buffer()
{
    if (!NYXEventBase::is_initialized())
        return false;
    try {
        m_buffer = std::make_unique<NYXBufferEvent>(NYXEventBase::raw(), m_socket.get(), &readcb,
                                                    &writecb, &eventcb, this);
    } catch (const std::exception&) {
        return false;
    }
    m_socket.release();
    return true;
}

void UDPClient::cleanup()
{
    m_error_event.del(false);
    m_buffer.reset();
}

bool UDPClient::await_datagrams()
{
    // A buffer event swallows a refusal that comes once it is connected, as
    // that of UDP does. Of two events on one descriptor the loop runs the one
    // that was added last first: the error event, which takes the error before.
    m_error_event.del(false);
    if (m_buffer->disable(event_writable) && m_buffer->enable(event_readable) &&
        m_error_event.add(m_buffer->get_fd(), -1))
        return true;
    // With one of the two alone the loop would spin, or wait for ever.
    eventcb(buffer_reading | buffer_error, this);
    return false;
}

/// A readable socket without an error holds a datagram: left to the buffer event.
void UDPClient::errorcb(int, short, void* arg)
{
    if (!static_cast<UDPClient*>(arg)->has_no_error())
        eventcb(buffer_reading | buffer_error, arg);
}

bool UDPClient::set_timeout_ms(unsigned int milliseconds)
{
    const timeval timeout{static_cast<time_t>(milliseconds / 1000),
                          static_cast<suseconds_t>((milliseconds % 1000) * 1000)};
    return m_buffer->set_timeouts(&timeout, &timeout);
}

std::string UDPClient::server_address() const
{
    return text::dotted_quad(in_addr{m_server});
}

bool UDPClient::has_no_error()
{
    int error = 0;
    socklen_t size = sizeof error;
    return ::getsockopt(m_buffer->get_fd(), SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

/// Where a time-out and a datagram are due at once, the loop was held up and
/// runs the time-out alone. A flood delays it by about one socket's buffer.
bool UDPClient::has_late_datagram()
{
    char first = 0;
    if (m_late_datagrams == most_late_datagrams ||
        ::recv(m_buffer->get_fd(), &first, sizeof first, MSG_PEEK | MSG_DONTWAIT) < 0)
        return false;
    ++m_late_datagrams;
    return true;
}

void UDPClient::eventcb(short events, void* arg)
{
    auto& self = *static_cast<UDPClient*>(arg);
    if ((events & buffer_connected) != 0 && self.has_no_error()) {
        self.on_connect_success();
        return;
    }
    if ((events & buffer_eof) != 0) {
        // An empty datagram looks like an end of file, and ends the reading.
        // It is a datagram like any other.
        if (self.await_datagrams())
            self.on_readcb();
        return;
    }
    if ((events & buffer_timeout) != 0 && self.has_late_datagram()) {
        self.await_datagrams();
        return;
    }
    if ((events & buffer_error) != 0)
        logger().warning("eventcb", ": Connection error to server: ", self.server_address());
    else if ((events & buffer_timeout) != 0)
        logger().warning("eventcb", ": Connection timeout to server: ", self.server_address());
    else
        logger().error("eventcb", ": Unknown event");
    self.on_connect_failure();
}

void UDPClient::readcb(void* arg)
{
    static_cast<UDPClient*>(arg)->on_readcb();
}

void UDPClient::writecb(void* arg)
{
    static_cast<UDPClient*>(arg)->on_writecb();
}

} // namespace nyx
