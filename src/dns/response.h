// What a name resolution found.
#pragma once

#include <netinet/in.h>

#include <cstdint>
#include <limits>
#include <list>
#include <string>

namespace nyx {

/// `status` is the response code of the answer (0: good). 2 stands for all that
/// makes another name server worth asking, a server's own failure among it.
struct NYXResponse {
    static constexpr int status_good = 0;
    static constexpr int status_next_server = 2;

    std::string host; ///< as it was asked for
    int status{status_good};
    std::list<in_addr> addresses; ///< in the order of the answer; may be empty
    /// The smallest TTL met, in seconds; all bits set when there was none.
    std::uint32_t ttl{std::numeric_limits<std::uint32_t>::max()};
};

} // namespace nyx
