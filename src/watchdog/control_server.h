// The supervisor's end of the control links: the daemon's, and those of
// operators' tools.
#pragma once

#include "event/socket_watch.h"
#include "platform/file/unique_fd.h"
#include "platform/ipc/ipc.h"
#include "text/result.h"

#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace vos_watchdog {

/// What the server asks for and what it reports. All are called from the loop.
struct ControlCallbacks {
    std::function<pid_t()> daemon_pid;   ///< the only process that may say hello; 0: none
    std::function<std::string()> status; ///< JSON for tools that ask
    std::function<void(std::uint16_t type)> forwarded; ///< a tool's request has reached the daemon
    std::function<void(std::string_view json)> node_status; ///< the daemon reports its own
};

/// Listens for links. A link's first record settles what it is: a hello makes
/// it the daemon's; a tool gets its answer, and the link is closed.
class ControlServer {
public:
    explicit ControlServer(ControlCallbacks callbacks);
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;
    ~ControlServer();

    /// Binds the listening socket; accepts links from then on.
    text::Outcome start(const char* family);
    bool daemon_is_linked() const { return m_daemon != nullptr; }

private:
    struct Link;
    enum class Fate { keep, close };

    void accept_all();
    void add_link(int fd);
    void link_waited(Link& link, nyx::SocketWait::Outcome end);
    void close_link(Link& link);
    void read_link(Link& link);
    Fate handle(Link& link, const unsigned char* bytes, std::size_t size);
    Fate welcome_daemon(Link& link);
    Fate forward_request(Link& link, const IpcMessage& request);

    ControlCallbacks m_callbacks;
    platform::UniqueFd m_listener;
    nyx::SocketWatch m_accept;
    std::list<Link> m_links;
    Link* m_daemon{nullptr}; ///< the daemon's link, one of m_links
};

} // namespace vos_watchdog
