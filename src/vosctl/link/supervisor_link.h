// Talking to the supervisor over its control socket.
#pragma once

#include "platform/file/unique_fd.h"
#include "platform/ipc/ipc.h"
#include "platform/variant/variant.h"
#include "text/result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace vosctl {

/// An answer: the record's type, and the text after the record.
struct Answer {
    std::uint16_t type{};
    std::string text;
};

/// One request a link.
class SupervisorLink {
public:
    /// Connects; a supervisor of another user is refused.
    static text::Result<SupervisorLink> connect();
    /// The supervisor's process; 0 when unknown.
    pid_t peer() const { return ipc_peer_pid(m_fd.get()); }
    /// Sends a request and waits at most two seconds for its answer; nothing
    /// when none comes.
    std::optional<Answer> ask(std::uint16_t type);
    /// How the daemon is: the supervisor's answer, an object; null when none
    /// comes or it can not be read.
    libvariant::Variant ask_status();

private:
    explicit SupervisorLink(platform::UniqueFd fd) : m_fd(std::move(fd)) {}

    platform::UniqueFd m_fd;
};

/// "no supervisor at DIRECTORY: WHY", for people.
std::string no_supervisor_text(const std::string& why);

} // namespace vosctl
