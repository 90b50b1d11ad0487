// A host name, a NUL, and a datagram that comes as reply to its query.
#include "dns/message.h"
#include "fuzz/target.h"

#include <algorithm>

void fuzz_one(std::string_view input)
{
    const auto end = std::min(input.find('\0'), input.size());
    const std::string host(input.substr(0, end));
    const auto query = nyx::build_dns_query(host);
    std::string reply(input.substr(std::min(end + 1, input.size())));
    if (!query || reply.empty())
        return;
    // The id is random: most inputs are to have the right one.
    const bool right_id = reply[0] != 'X';
    reply.replace(0, std::min<std::size_t>(reply.size(), 2), *query, 0,
                  std::min<std::size_t>(reply.size(), 2));
    if (!right_id)
        reply[0] = static_cast<char>(~reply[0]);
    constexpr std::uint32_t cap = 3600;
    const auto got = nyx::parse_dns_reply(reply, *query, host, cap);
    REQUIRE(right_id || got.verdict == nyx::DnsReply::Verdict::foreign);
    REQUIRE(got.response.host == host);
    REQUIRE(got.response.addresses.size() <= reply.size() / 16);
    REQUIRE(got.verdict == nyx::DnsReply::Verdict::good || got.response.addresses.empty());
    REQUIRE(std::all_of(got.records.begin(), got.records.end(),
                        [](const auto& record) { return record.used_ttl <= cap; }));
}
