// A host name, a NUL, and a datagram that comes as answer to its query.
#include "dns/message.h"
#include "fuzz/target.h"

#include <algorithm>

void fuzz_one(std::string_view input)
{
    const auto end = std::min(input.find('\0'), input.size());
    const std::string host(input.substr(0, end));
    const auto query = nyx::build_dns_query(host);
    std::string answer(input.substr(std::min(end + 1, input.size())));
    if (!query || answer.empty())
        return;
    // The id is random: most inputs are to have the right one.
    const bool right_id = answer[0] != 'X';
    answer.replace(0, std::min<std::size_t>(answer.size(), 2), *query, 0,
                   std::min<std::size_t>(answer.size(), 2));
    if (!right_id)
        answer[0] = static_cast<char>(~answer[0]);
    constexpr std::uint32_t cap = 3600;
    const auto got = nyx::parse_dns_reply(answer, *query, host, cap);
    REQUIRE(right_id || got.verdict == nyx::DnsReply::Verdict::foreign);
    REQUIRE(got.response.host == host);
    REQUIRE(got.response.addresses.size() <= answer.size() / 16);
    REQUIRE(got.verdict == nyx::DnsReply::Verdict::good || got.response.addresses.empty());
    REQUIRE(std::all_of(got.records.begin(), got.records.end(),
                        [](const auto& record) { return record.used_ttl <= cap; }));
}
