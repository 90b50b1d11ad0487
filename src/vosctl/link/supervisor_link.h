// Talking to the supervisor over its control socket.
#pragma once

#include "platform/file/unique_fd.h"
#include "platform/ipc/ipc.h"
#include "platform/variant/variant.h"

#include <cstdint>
#include <optional>
#include <string>

namespace vosctl {

/// An answer: the record's type, and the text behind the record.
struct Answer {
    std::uint16_t type{};
    std::string text;
};

/// One request a link.
class SupervisorLink {
public:
    /// 0, or an errno value; EACCES for a supervisor of another user.
    int connect();
    /// The supervisor's process; 0 when unknown.
    pid_t peer() const { return ipc_peer_pid(m_fd.get()); }
    /// Sends a request and waits at most two seconds for its answer; nothing
    /// when none comes.
    std::optional<Answer> ask(std::uint16_t type);
    /// How the daemon is: the supervisor's answer, an object; null when none
    /// comes or it can not be read.
    libvariant::Variant ask_status();

private:
    platform::UniqueFd m_fd;
};

} // namespace vosctl
