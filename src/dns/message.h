// DNS messages: queries made, and replies read, by the system's resolver
// library.
#pragma once

#include "dns/response.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nyx {

/// A standard query for the IPv4 addresses of `host`, with an id that can not
/// be guessed. Nothing when no such name can exist: empty, with blanks or
/// control characters, with an empty label, or too long.
std::optional<std::string> build_dns_query(const std::string& host);

/// A record of the answer section; only addresses and aliases count.
struct DnsRecord {
    enum class Kind { address, alias, unreadable_alias, unhandled };

    Kind kind{Kind::unhandled};
    int type{};               ///< as on the wire
    std::uint32_t ttl{};      ///< as in the record, seconds
    std::uint32_t used_ttl{}; ///< `ttl`, or the cap where that is smaller
    in_addr address{};        ///< of an address
    std::string alias;        ///< the name that an alias leads to

    /// Whether the response is good for no longer than this record.
    bool bounds_ttl() const { return kind == Kind::address || kind == Kind::alias; }
};

/// What a datagram that came from the server says.
struct DnsReply {
    enum class Verdict {
        good,        ///< ends the query, whatever its status
        next_server, ///< the server is of no use for this query
        foreign      ///< does not belong to the query: to be dropped
    };
    enum class Fault { none, malformed_message, truncated, malformed_record };

    Verdict verdict{Verdict::foreign};
    Fault fault{Fault::none};
    int response_code{};            ///< as on the wire; 0: good
    NYXResponse response;           ///< without addresses unless the verdict is good
    std::vector<DnsRecord> records; ///< those read before a fault, in order
};

/// Reads `datagram`, a reply to the message `query` about `host`. A TTL above
/// `max_ttl_sec` counts as that; 0 is no cap. A reply belongs to the query when
/// its id and its question are the query's. An error with that id and no
/// question at all is that of a server of no use. Pure: no socket, clock or log.
DnsReply parse_dns_reply(std::string_view datagram, std::string_view query, const std::string& host,
                         std::uint32_t max_ttl_sec);

} // namespace nyx
