#include "net/dns_message.h"

#include "net/address_text.h"
#include "unit/net/dns_packet.h"

#include <gtest/gtest.h>

#include <set>

namespace {

using nyx::DnsAnswer;
using Verdict = DnsAnswer::Verdict;
using Fault = DnsAnswer::Fault;
constexpr std::uint32_t no_ttl = 0xFFFFFFFF;

const std::string query = *nyx::build_dns_query("zel.example");

struct Case {
    std::string name, answer;
    Verdict verdict{Verdict::good};
    Fault fault{Fault::none};
    int status{};
    std::size_t addresses{};
    std::uint32_t ttl{no_ttl};
    std::uint32_t cap{};
};

void check(const Case& row)
{
    SCOPED_TRACE(row.name);
    const auto got = nyx::parse_dns_answer(row.answer, query, "zel.example", row.cap);
    EXPECT_EQ(got.verdict, row.verdict);
    EXPECT_EQ(got.fault, row.fault);
    EXPECT_EQ(got.response.status, row.status);
    EXPECT_EQ(got.response.addresses.size(), row.addresses);
    EXPECT_EQ(got.response.ttl, row.ttl);
    EXPECT_EQ(got.response.host, "zel.example");
}

std::string changed(std::size_t at, char by)
{
    auto answer = answer_to(query, 1, a_record(60, 1));
    answer[at] = static_cast<char>(answer[at] ^ by);
    return answer;
}

const std::string cname = record(5, 20, "\1b\xc0\x10");

TEST(DnsMessageTest, reads_what_an_answer_says)
{
    const auto other = nyx::build_dns_query("zel.exampl");
    std::string many;
    for (int i = 0; i < 200; ++i)
        many += a_record(60, static_cast<unsigned char>(i));
    const auto long_name = [](char last) { // of 255 octets, or 256
        return std::string("\x3f") + std::string(63, 'a') + "\x3f" + std::string(63, 'b') + "\x3f" +
               std::string(63, 'c') + last + std::string(static_cast<std::size_t>(last), 'd') +
               '\0';
    };
    const Case rows[] = {
        {"one", answer_to(query, 1, a_record(60, 1)), {}, {}, 0, 1, 60},
        {"upper case", changed(13, 0x20), {}, {}, 0, 1, 60},
        {"no records", answer_to(query, 0, "")},
        {"ttl 0", answer_to(query, 2, a_record(9, 1) + a_record(0, 2)), {}, {}, 0, 2, 0},
        {"ttl, the largest", answer_to(query, 1, a_record(no_ttl, 1)), {}, {}, 0, 1, no_ttl},
        {"largest ttl capped", answer_to(query, 1, a_record(no_ttl, 1)), {}, {}, 0, 1, 60, 60},
        {"capped", answer_to(query, 1, a_record(300, 1)), {}, {}, 0, 1, 60, 60},
        {"at the cap", answer_to(query, 1, a_record(60, 1)), {}, {}, 0, 1, 60, 60},
        {"below the cap", answer_to(query, 1, a_record(30, 1)), {}, {}, 0, 1, 30, 60},
        {"alias only", answer_to(query, 1, cname), {}, {}, 0, 0, 20},
        {"alias capped", answer_to(query, 1, cname), {}, {}, 0, 0, 5, 5},
        {"chain", answer_to(query, 3, cname + cname + a_record(60, 1)), {}, {}, 0, 1, 20},
        {"other type", answer_to(query, 2, record(16, 1, "x") + a_record(9, 1)), {}, {}, 0, 1, 9},
        {"200 addresses", answer_to(query, 200, many), {}, {}, 0, 200, 60},
        {"alias, 255 octets", answer_to(query, 1, record(5, 7, long_name(61))), {}, {}, 0, 0, 7},
        {"alias, 256 octets", answer_to(query, 1, record(5, 7, long_name(62)))},
        {"alias in a loop", answer_to(query, 1, record(5, 7, "\xc0\x29"))},
        {"truncated", answer_to(query, 1, a_record(9, 1), 0x200), Verdict::next_server,
         Fault::truncated, 2},
        {"owner in a loop", answer_to(query, 1, record(1, 9, "abcd", 4, "\xc0\x1d")),
         Verdict::next_server, Fault::malformed_record, 2},
        {"short address", answer_to(query, 2, a_record(9, 1) + record(1, 9, "abc")),
         Verdict::next_server, Fault::malformed_record, 2},
        {"count too high", answer_to(query, 2, a_record(9, 1)), Verdict::next_server,
         Fault::malformed_message, 2},
        {"count too low", answer_to(query, 0, a_record(9, 1)), Verdict::next_server,
         Fault::malformed_message, 2},
        {"length too high", answer_to(query, 1, record(1, 9, "abcd", 65535)), Verdict::next_server,
         Fault::malformed_message, 2},
        {"length too low", answer_to(query, 1, record(1, 9, "abcd", 2)), Verdict::next_server,
         Fault::malformed_message, 2},
        {"other id", changed(1, 1), Verdict::not_an_answer, {}, 0, 0},
        {"a query", changed(2, '\x80'), Verdict::not_an_answer, {}, 0, 0},
        {"other operation", changed(2, 0x10), Verdict::not_an_answer, {}, 0, 0},
        {"other name", changed(13, 1), Verdict::not_an_answer, {}, 0, 0},
        {"other type asked", changed(query.size() - 3, 2), Verdict::not_an_answer, {}, 0, 0},
        {"shorter name",
         answer_to(query.substr(0, 12) + other->substr(12), 0, ""),
         Verdict::not_an_answer,
         {},
         0,
         0},
        {"no question", changed(5, 1), Verdict::not_an_answer, {}, 0, 0},
    };
    for (const auto& row : rows)
        check(row);
    for (int code = 1; code < 16; ++code)
        check({"code " + std::to_string(code),
               answer_to(query, 1, a_record(60, 1), code),
               code == 2 ? Verdict::next_server : Verdict::good,
               {},
               code,
               code == 2 ? 0U : 1U,
               code == 2 ? no_ttl : 60});
    for (std::size_t size = 0; size < query.size(); ++size)
        check({std::to_string(size) + " bytes", changed(7, 0).substr(0, size),
               Verdict::not_an_answer});
}

TEST(DnsMessageTest, reads_a_captured_answer)
{
    // dnsmasq's, about www.zel.example: an alias and its two addresses.
    const std::string hex = "b1c78580000100030000000003777777037a656c076578616d706c650000010001"
                            "c00c000500010000001e000d037a656c076578616d706c6500c02d0001"
                            "00010000003c0004c0000201c02d000100010000003c0004c0000202";
    std::string captured;
    for (std::size_t i = 0; i < hex.size(); i += 2)
        captured += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
    const auto got = nyx::parse_dns_answer(captured, captured.substr(0, 33), "www.zel.example", 0);
    EXPECT_EQ(got.response.ttl, 30U);
    ASSERT_EQ(got.response.addresses.size(), 2U);
    EXPECT_EQ(nyx::to_text(got.response.addresses.front()), "192.0.2.1");
    EXPECT_EQ(got.records.front().alias, "zel.example");
}

TEST(DnsMessageTest, asks_for_names_that_can_exist_only)
{
    const auto labels = [](std::size_t last) {
        const std::string label(63, 'a');
        return label + "." + label + "." + label + "." + std::string(last, 'b');
    };
    const struct {
        std::string host;
        bool asked;
    } rows[] = {
        {"zel.example", true},
        {"zel.example.", true},
        {labels(61), true}, // 255 octets on the wire
        {labels(62), false},
        {std::string(255, 'a'), false},
        {std::string(256, '.'), false},
        {std::string(300, 'a'), false},
        {"", false},
        {".", false},
        {"zel..example", false},
        {"zel example", false},
        {"zel.example\n", false},
        {std::string("zel\0", 4), false},
    };
    for (const auto& row : rows)
        EXPECT_EQ(nyx::build_dns_query(row.host).has_value(), row.asked) << row.host;
    std::set<std::string> ids;
    for (int i = 0; i < 100; ++i)
        ids.insert(nyx::build_dns_query("a")->substr(0, 2));
    EXPECT_GT(ids.size(), 90U);
    EXPECT_EQ(query.substr(2), std::string("\1\0\0\1\0\0\0\0\0\0\3zel\7example\0\0\1\0\1", 27));
}

} // namespace
