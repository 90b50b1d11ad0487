// Reports to the service manager, by the datagram protocol of its notify socket.
#pragma once

#include "platform/file/unique_fd.h"

#include <string>

namespace vos_watchdog {

/// Sends to the socket that NOTIFY_SOCKET names; without one, nothing. Never
/// blocks: a message that can not be delivered is lost.
class Notifier {
public:
    /// Reads NOTIFY_SOCKET and takes it out of the environment: the daemon is
    /// not the service's main process.
    Notifier();

    bool is_connected() const { return m_fd.valid(); }
    /// `state` is one assignment or more, a line each ("READY=1").
    void send(const std::string& state) const;

private:
    platform::UniqueFd m_fd;
};

} // namespace vos_watchdog
