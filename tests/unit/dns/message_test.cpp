#include "dns/message.h"

#include "unit/dns/dns_packet.h"

#include <gtest/gtest.h>

#include <cmath>

namespace {

using nyx::DnsReply;
constexpr std::uint32_t most = 0xFFFFFFFF;
const std::string query = *nyx::build_dns_query("zel.example");

/// "dropped", "next" and the fault, or status, number of addresses and TTL.
std::string read(const std::string& answer, std::uint32_t cap = 0)
{
    const auto got = nyx::parse_dns_reply(answer, query, "zel.example", cap);
    if (got.verdict == DnsReply::Verdict::foreign)
        return "dropped";
    const auto& found = got.response;
    if (got.verdict == DnsReply::Verdict::next_server)
        return (found.addresses.empty() && found.status == 2 ? "next " : "inconsistent ") +
               std::to_string(static_cast<int>(got.fault));
    return std::to_string(found.status) + " " + std::to_string(found.addresses.size()) + " " +
           (found.ttl == most ? "most" : std::to_string(found.ttl));
}

std::string answer(unsigned count, const std::string& records, unsigned flags = 0)
{
    return answer_to(query, count, records, flags);
}

std::string changed(std::size_t at, int by)
{
    auto bytes = answer(1, a_record(60));
    bytes[at] = static_cast<char>(bytes[at] ^ by);
    return bytes;
}

std::string cname(const std::string& target)
{
    return record(5, 20, target, target.size());
}

/// A name of 194 octets and `last`.
std::string long_name(char last)
{
    std::string name;
    for (const char size : {'\x3f', '\x3f', '\x3f', last})
        name += size + std::string(static_cast<std::size_t>(size), 'a');
    return name + '\0';
}

TEST(DnsMessageTest, reads_what_an_answer_says)
{
    std::string many;
    for (int i = 0; i < 200; ++i)
        many += a_record(60, i);
    const auto bare_error = query.substr(0, 2) + u16(0x8181) + std::string(7, '\0');
    const auto alias = cname("\1b\xc0\x10");
    const struct {
        std::string answer, want;
        std::uint32_t cap{};
    } rows[] = {
        {answer(1, a_record(60)), "0 1 60"},
        {changed(13, 0x20), "0 1 60"}, // the name in upper case
        {answer(0, ""), "0 0 most"},
        {answer(2, a_record(9) + a_record(0)), "0 2 0"},
        {answer(1, a_record(most)), "0 1 most"},
        {answer(1, a_record(most)), "0 1 60", 60},
        {answer(1, a_record(30)), "0 1 30", 60},
        {answer(1, alias), "0 0 20"},
        {answer(1, alias), "0 0 5", 5},
        {answer(3, alias + alias + a_record(60)), "0 1 20"},
        {answer(2, record(16, 1, "x", 1) + a_record(9)), "0 1 9"},
        {answer(200, many), "0 200 60"},
        {answer(1, cname(long_name(61))), "0 0 20"},                // of 255 octets
        {answer(1, cname(long_name(62))), "0 0 most"},              // of 256
        {answer(1, cname("\xc0\x29")), "0 0 most"},                 // leads to itself
        {answer(1, a_record(9), 0x200), "next 2"},                  // truncated
        {answer(1, record(1, 9, "abcd", 4, "\xc0\x1d")), "next 3"}, // its owner leads to itself
        {answer(2, a_record(9) + record(1, 9, "abc", 3)), "next 3"},
        {answer(2, a_record(9)), "next 1"},
        {answer(0, a_record(9)), "next 1"},
        {answer(1, record(1, 9, "abcd", 65535)), "next 1"},
        {answer(1, record(1, 9, "abcd", 2)), "next 1"},
        {bare_error + '\0', "next 0"},
        {bare_error, "dropped"},                   // too short
        {changed(0, 1), "dropped"},                // other id
        {changed(1, 1), "dropped"},                // and here
        {changed(2, 0x80), "dropped"},             // no response
        {changed(2, 0x10), "dropped"},             // other operation
        {changed(5, 1), "dropped"},                // no question
        {changed(13, 1), "dropped"},               // other name
        {changed(query.size() - 3, 2), "dropped"}, // other type
    };
    for (const auto& row : rows)
        EXPECT_EQ(read(row.answer, row.cap), row.want) << &row - rows;
    for (unsigned code = 1; code < 16; ++code)
        EXPECT_EQ(read(answer(1, a_record(60), code)),
                  code == 2 ? "next 0" : std::to_string(code) + " 1 60");
    for (std::size_t size = 0; size < query.size(); ++size)
        EXPECT_EQ(read(changed(7, 0).substr(0, size)), "dropped") << size;
}

TEST(DnsMessageTest, reads_a_captured_answer)
{
    // dnsmasq's, about www.zel.example: an alias and its two addresses.
    const std::string hex = "b1c78580000100030000000003777777037a656c076578616d706c650000010001c00c"
                            "000500010000001e000d037a656c076578616d706c6500c02d000100010000003c0004"
                            "c0000201c02d000100010000003c0004c0000202";
    std::string bytes;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    const auto got = nyx::parse_dns_reply(bytes, bytes.substr(0, 33), "www.zel.example", 0);
    ASSERT_EQ(got.response.addresses.size(), 2U);
    EXPECT_EQ(got.response.addresses.front().s_addr, htonl(0xC0000201));
    EXPECT_EQ(got.response.ttl, 30U);
    EXPECT_EQ(got.records.front().alias, "zel.example");
}

TEST(DnsMessageTest, ids_can_not_be_guessed)
{
    constexpr int samples = 100000, bins = 256;
    // High and low bytes of the ids, and the low one's distance to the last.
    int counts[3][bins] = {};
    int last = 0;
    for (int i = 0; i < samples; ++i) {
        const auto made = *nyx::build_dns_query("zel.example");
        const int high = made[0] & 0xFF, low = made[1] & 0xFF;
        for (const auto& [kind, value] : {std::pair(0, high), {1, low}, {2, (low - last) & 0xFF}})
            ++counts[kind][value];
        last = low;
    }
    for (const auto& each : counts) {
        double chi_square = 0;
        for (const auto count : each)
            chi_square += std::pow(count - samples * 1.0 / bins, 2) * bins / samples;
        EXPECT_LT(chi_square, 377) << "once in a million of a uniform source of 256";
    }
}

TEST(DnsMessageTest, asks_for_names_that_can_exist_only)
{
    const auto label = std::string(63, 'a') + ".";
    const auto labels = label + label + label;
    for (const auto& host : {std::string("zel.example."), labels + std::string(61, 'b')})
        EXPECT_TRUE(nyx::build_dns_query(host)) << host;
    for (const auto& host :
         {labels + std::string(62, 'b'), std::string(300, 'a'), std::string(255, 'a'),
          std::string(256, '.'), std::string(), std::string("."), std::string("zel..example"),
          std::string("zel example"), std::string("zel\n"), std::string(1, '\0')})
        EXPECT_FALSE(nyx::build_dns_query(host)) << host;
    EXPECT_EQ(query.substr(2), std::string("\1\0\0\1\0\0\0\0\0\0\3zel\7example\0\0\1\0\1", 27));
}

} // namespace
