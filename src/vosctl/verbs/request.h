// One request to the supervisor, and what came of it.
#pragma once

#include <cstdint>
#include <string>

namespace vosctl {

/// Sends a request of `type` on behalf of a verb. Says on standard error why it
/// was not carried out; gives the exit status.
int request(const std::string& verb, std::uint16_t type);

/// Says on standard error that a verb found no supervisor; gives the exit
/// status for that.
int no_supervisor(const std::string& verb, const std::string& why);

} // namespace vosctl
