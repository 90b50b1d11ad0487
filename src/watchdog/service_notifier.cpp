#include "watchdog/service_notifier.h"

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace vos_watchdog {

Notifier::Notifier()
{
    const char* value = std::getenv("NOTIFY_SOCKET");
    const std::string path = value != nullptr ? value : "";
    ::unsetenv("NOTIFY_SOCKET");
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() < 2 || path.size() >= sizeof address.sun_path)
        return;
    std::memcpy(address.sun_path, path.data(), path.size());
    if (path.front() == '@') // an abstract name
        address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    platform::UniqueFd fd(::socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
    if (fd.valid() && ::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), length) == 0)
        m_fd = std::move(fd);
}

void Notifier::send(const std::string& state) const
{
    if (m_fd.valid())
        ::send(m_fd.get(), state.data(), state.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
}

} // namespace vos_watchdog
