// Receiving the daemon's heartbeats.
#pragma once

#include "event/socket_watch.h"
#include "platform/file/unique_fd.h"
#include "text/result.h"

#include <functional>
#include <string>

namespace vos_watchdog {

/// Calls back for every heartbeat that `sender` sends; what else arrives is
/// dropped.
class HeartbeatSocket {
public:
    HeartbeatSocket(std::string sender, std::function<void()> on_heartbeat);
    HeartbeatSocket(const HeartbeatSocket&) = delete;
    HeartbeatSocket& operator=(const HeartbeatSocket&) = delete;
    ~HeartbeatSocket() = default;

    /// Binds the socket under `name`; receives from then on.
    text::Outcome start(const char* name);

private:
    void read_some();

    std::string m_sender;
    std::function<void()> m_on_heartbeat;
    platform::UniqueFd m_fd;
    nyx::SocketWatch m_watch; ///< goes before the descriptor that it is for
};

} // namespace vos_watchdog
