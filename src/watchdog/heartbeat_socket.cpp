#include "watchdog/heartbeat_socket.h"

#include "platform/ipc/ipc.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <utility>

namespace vos_watchdog {

namespace {

constexpr int records_per_turn = 64; ///< no sender keeps the loop to itself

} // namespace

HeartbeatSocket::HeartbeatSocket(std::string sender, std::function<void()> on_heartbeat)
    : m_sender(std::move(sender)), m_on_heartbeat(std::move(on_heartbeat)),
      m_watch([this] { read_some(); })
{
}

text::Outcome HeartbeatSocket::start(const char* name)
{
    int fd = -1;
    if (const int error = start_socket(&fd, name); error != 0)
        return text::Failure{std::strerror(error)};
    m_fd.reset(fd);
    return m_watch.start(fd) ? text::done() : text::Failure{std::strerror(EINVAL)};
}

void HeartbeatSocket::read_some()
{
    std::array<unsigned char, 4096> buffer;
    for (int i = 0; i < records_per_turn; ++i) {
        const auto length = read_msg(m_fd.get(), buffer.data(), buffer.size(), 0);
        if (length <= 0)
            return;
        const auto message = parse_ipc_message(buffer.data(), static_cast<std::size_t>(length));
        if (message && message->text.empty() && message->type == ipc_heartbeat &&
            message->sender == m_sender)
            m_on_heartbeat();
    }
}

} // namespace vos_watchdog
