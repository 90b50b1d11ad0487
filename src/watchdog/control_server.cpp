#include "watchdog/control_server.h"

#include "platform/logger/sup_logger.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

namespace vos_watchdog {

namespace {

constexpr std::size_t most_links = 32;
constexpr std::chrono::seconds longest_silence{5}; ///< a link that says nothing at first is closed
constexpr const char* own_name = "watchdog";

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Watchdog");
    return instance;
}

} // namespace

struct ControlServer::Link {
    Link(ControlServer& owner, int descriptor)
        : fd(descriptor), wait([this, &owner](auto end) { owner.link_waited(*this, end); })
    {
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    platform::UniqueFd fd;
    nyx::SocketWait wait; ///< goes before the descriptor that it is for
};

ControlServer::ControlServer(ControlCallbacks callbacks)
    : m_callbacks(std::move(callbacks)), m_accept([this] { accept_all(); })
{
}

ControlServer::~ControlServer() = default;

text::Outcome ControlServer::start(const char* family)
{
    int fd = -1;
    if (const int error = listen_socket(&fd, family); error != 0)
        return text::Failure{std::strerror(error)};
    m_listener.reset(fd);
    return m_accept.start(fd) ? text::done() : text::Failure{std::strerror(EINVAL)};
}

void ControlServer::accept_all()
{
    while (true) {
        const int fd = ::accept4(m_listener.get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0)
            return;
        add_link(fd);
    }
}

void ControlServer::add_link(int fd)
{
    platform::UniqueFd owned(fd);
    if (!ipc_peer_is_trusted(fd)) {
        logger().warning("refused a control link of process ", ipc_peer_pid(fd),
                         ": another user's");
        return;
    }
    if (m_links.size() >= most_links) {
        logger().warning("refused a control link: there are ", m_links.size(), " already");
        return;
    }
    auto& link = m_links.emplace_back(*this, owned.release());
    link.wait.await(link.fd.get(), longest_silence);
}

void ControlServer::link_waited(Link& link, nyx::SocketWait::Outcome end)
{
    if (end == nyx::SocketWait::Outcome::readable)
        read_link(link);
    else
        close_link(link);
}

void ControlServer::close_link(Link& link)
{
    if (&link == m_daemon) {
        m_daemon = nullptr;
        logger().info("the daemon's control link is closed");
    }
    m_links.remove_if([&link](const Link& other) { return &other == &link; });
}

/// Takes one record a turn, so that no peer keeps the loop to itself.
void ControlServer::read_link(Link& link)
{
    std::array<unsigned char, 4096> buffer;
    const auto length = read_msg(link.fd.get(), buffer.data(), buffer.size(), 0);
    const auto fate =
        length < 0 ? Fate::close : handle(link, buffer.data(), static_cast<std::size_t>(length));
    if (fate == Fate::close)
        close_link(link);
    else
        link.wait.await(link.fd.get());
}

ControlServer::Fate ControlServer::handle(Link& link, const unsigned char* bytes, std::size_t size)
{
    const auto message = parse_ipc_message(bytes, size);
    if (!message) {
        logger().warning("control link: a message of ", size, " bytes is too short");
        return &link == m_daemon ? Fate::keep : Fate::close;
    }
    if (&link == m_daemon) {
        logger().debug("the daemon sent a message of type ", message->type);
        if (message->type == ipc_node_status)
            m_callbacks.node_status(message->text);
        return Fate::keep;
    }
    switch (message->type) {
    case ipc_hello:
        return welcome_daemon(link);
    case ipc_reconfigure:
    case ipc_terminate:
    case ipc_stop:
        return forward_request(link, *message);
    case ipc_status: {
        ipcmsg_t answer;
        init_ipc_hdr(&answer, ipc_status_answer, own_name, "");
        send_msg(link.fd.get(), answer, m_callbacks.status());
        return Fate::close;
    }
    default:
        logger().warning("control link: unsupported message type ", message->type);
        return Fate::close;
    }
}

ControlServer::Fate ControlServer::welcome_daemon(Link& link)
{
    const auto peer = ipc_peer_pid(link.fd.get());
    if (peer == 0 || peer != m_callbacks.daemon_pid()) {
        logger().warning("refused a hello of process ", peer, ": it is not the supervised daemon");
        return Fate::close;
    }
    if (m_daemon != nullptr)
        close_link(*m_daemon);
    m_daemon = &link;
    logger().info("the daemon is on the control link");
    return Fate::keep;
}

ControlServer::Fate ControlServer::forward_request(Link& link, const IpcMessage& request)
{
    const AnsweringRecords asked;
    logger().info("request of type ", request.type, " from ", request.sender);
    ipcmsg_t forwarded;
    init_ipc_hdr(&forwarded, request.type, request.sender.c_str(), request.destination.c_str());
    const int error = m_daemon != nullptr ? send_msg(m_daemon->fd.get(), forwarded) : ENOTCONN;
    if (error != 0)
        logger().warning("request of type ", request.type,
                         " could not be forwarded: ", std::strerror(error));
    ipcmsg_t answer;
    init_ipc_hdr(&answer, error == 0 ? ipc_done : ipc_no_daemon, own_name, request.sender.c_str());
    send_msg(link.fd.get(), answer);
    if (error == 0)
        m_callbacks.forwarded(request.type);
    return Fate::close;
}

} // namespace vos_watchdog
