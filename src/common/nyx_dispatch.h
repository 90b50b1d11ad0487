// Sending control messages over the link to the supervisor.
#pragma once

#include <cstdint>
#include <string>

namespace nyx {

/// Base of every component that may send a control message. The link is the
/// process's one; until setup() has been called there is none. Nobody owns a
/// component as this base.
class IDispatch {
public:
    /// Stores the link's descriptor (-1: no link) and the agent's id. The
    /// descriptor stays its owner's.
    static void setup(int fd, std::string id);

    /// Sends one record of `type`, addressed to the agent's id. False when
    /// there is no link or the record could not be sent; never blocks.
    bool dispatch_msg(std::uint16_t type);

protected:
    ~IDispatch() = default;
};

} // namespace nyx
