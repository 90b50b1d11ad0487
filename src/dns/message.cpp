#include "dns/message.h"

#include <arpa/nameser.h>
#include <resolv.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>

namespace nyx {

namespace {

constexpr std::size_t largest_query = 512;
constexpr unsigned int kind_mask = 0xF8; // of the first flag byte: response bit and operation
constexpr unsigned int response_to_query = 0x80;

bool has_blank_or_control(const std::string& host)
{
    return std::any_of(host.begin(), host.end(),
                       [](unsigned char c) { return std::isspace(c) || std::iscntrl(c); });
}

/// The library makes its ids from the clock; one from the kernel can not be
/// guessed. While the kernel has none yet, early at boot, the library's stays.
void randomize_id(unsigned char* message)
{
    std::array<unsigned char, 2> id{};
    if (::getrandom(id.data(), id.size(), GRND_NONBLOCK) == static_cast<ssize_t>(id.size()))
        std::copy(id.begin(), id.end(), message);
}

/// Length bytes stay below 64, and type and class are 1: none is a letter.
bool equal_but_for_case(std::string_view left, std::string_view right)
{
    return std::equal(
        left.begin(), left.end(), right.begin(), right.end(),
        [](unsigned char a, unsigned char b) { return std::tolower(a) == std::tolower(b); });
}

bool has_id_of(std::string_view reply, std::string_view query)
{
    constexpr std::size_t id_size = 2;
    return query.size() > NS_HFIXEDSZ && reply.size() >= NS_HFIXEDSZ &&
           reply.substr(0, id_size) == query.substr(0, id_size) &&
           (static_cast<unsigned char>(reply[id_size]) & kind_mask) == response_to_query;
}

std::string_view question_count(std::string_view message)
{
    constexpr std::size_t at = 4;
    constexpr std::size_t size = 2;
    return message.substr(at, size);
}

/// A query is a header and one question. A reply to it begins with the same id
/// and, flags and the other counts aside, the same bytes.
bool belongs_to(std::string_view reply, std::string_view query)
{
    return has_id_of(reply, query) && reply.size() >= query.size() &&
           question_count(reply) == question_count(query) &&
           equal_but_for_case(reply.substr(NS_HFIXEDSZ, query.size() - NS_HFIXEDSZ),
                              query.substr(NS_HFIXEDSZ));
}

/// The code of an error that a server tells without repeating the question, as
/// one that could not read the query does; 0 when `reply` is none.
int code_without_question(std::string_view reply, std::string_view query)
{
    constexpr std::size_t code_at = 3;
    constexpr unsigned int code_mask = 0x0F;
    const bool is_bare =
        has_id_of(reply, query) && question_count(reply) == std::string_view("\0\0", 2);
    return is_bare ? static_cast<int>(static_cast<unsigned char>(reply[code_at]) & code_mask) : 0;
}

std::optional<std::string> expand_name(const ns_msg& message, const ns_rr& record)
{
    std::array<char, NS_MAXDNAME> name{};
    if (::dn_expand(ns_msg_base(message), ns_msg_end(message), ns_rr_rdata(record), name.data(),
                    static_cast<int>(name.size())) < 0)
        return std::nullopt;
    return name.data();
}

/// Nothing when the record can not be what its type says.
std::optional<DnsRecord> read_record(const ns_msg& message, const ns_rr& raw,
                                     std::uint32_t max_ttl_sec)
{
    DnsRecord record;
    record.type = ns_rr_type(raw);
    record.ttl = ns_rr_ttl(raw);
    record.used_ttl = max_ttl_sec == 0 ? record.ttl : std::min(record.ttl, max_ttl_sec);
    if (ns_rr_class(raw) != ns_c_in)
        return record;
    if (record.type == ns_t_a) {
        if (ns_rr_rdlen(raw) != NS_INADDRSZ)
            return std::nullopt;
        record.kind = DnsRecord::Kind::address;
        std::memcpy(&record.address, ns_rr_rdata(raw), sizeof record.address);
    } else if (record.type == ns_t_cname) {
        auto name = expand_name(message, raw);
        record.kind = name ? DnsRecord::Kind::alias : DnsRecord::Kind::unreadable_alias;
        record.alias = std::move(name).value_or("");
    }
    return record;
}

/// Addresses are taken from the answer section as they come; an alias only
/// bounds the time that they are good for.
DnsReply::Fault read_records(ns_msg& message, std::uint32_t max_ttl_sec, DnsReply& reply)
{
    for (int i = 0; i < ns_msg_count(message, ns_s_an); ++i) {
        ns_rr raw{};
        if (::ns_parserr(&message, ns_s_an, i, &raw) != 0)
            return DnsReply::Fault::malformed_record;
        auto record = read_record(message, raw, max_ttl_sec);
        if (!record)
            return DnsReply::Fault::malformed_record;
        auto& response = reply.response;
        if (record->kind == DnsRecord::Kind::address)
            response.addresses.push_back(record->address);
        if (record->bounds_ttl())
            response.ttl = std::min(response.ttl, record->used_ttl);
        reply.records.push_back(std::move(*record));
    }
    return DnsReply::Fault::none;
}

DnsReply::Fault read_message(std::string_view bytes, std::uint32_t max_ttl_sec, DnsReply& reply)
{
    ns_msg message{};
    if (::ns_initparse(reinterpret_cast<const unsigned char*>(bytes.data()),
                       static_cast<int>(bytes.size()), &message) != 0)
        return DnsReply::Fault::malformed_message;
    reply.response_code = ns_msg_getflag(message, ns_f_rcode);
    reply.response.status = reply.response_code;
    if (ns_msg_getflag(message, ns_f_tc) != 0)
        return DnsReply::Fault::truncated;
    return read_records(message, max_ttl_sec, reply);
}

} // namespace

std::optional<std::string> build_dns_query(const std::string& host)
{
    if (host.empty() || has_blank_or_control(host))
        return std::nullopt;
    struct __res_state state {};
    state.options = RES_RECURSE;
    std::array<unsigned char, largest_query> message{};
    const int size = ::res_nmkquery(&state, ns_o_query, host.c_str(), ns_c_in, ns_t_a, nullptr, 0,
                                    nullptr, message.data(), static_cast<int>(message.size()));
    // The root alone is a name too, but no host's.
    if (size <= NS_HFIXEDSZ || message[NS_HFIXEDSZ] == 0)
        return std::nullopt;
    randomize_id(message.data());
    return std::string(reinterpret_cast<const char*>(message.data()),
                       static_cast<std::size_t>(size));
}

DnsReply parse_dns_reply(std::string_view datagram, std::string_view query, const std::string& host,
                         std::uint32_t max_ttl_sec)
{
    DnsReply reply;
    reply.response.host = host;
    const bool is_whole = belongs_to(datagram, query);
    if (is_whole)
        reply.fault = read_message(datagram, max_ttl_sec, reply);
    else
        reply.response_code = code_without_question(datagram, query);
    if (!is_whole && reply.response_code == 0)
        return reply;
    const bool good = is_whole && reply.fault == DnsReply::Fault::none &&
                      reply.response.status != NYXResponse::status_next_server;
    reply.verdict = good ? DnsReply::Verdict::good : DnsReply::Verdict::next_server;
    if (!good) {
        reply.response = NYXResponse();
        reply.response.host = host;
        reply.response.status = NYXResponse::status_next_server;
    }
    return reply;
}

} // namespace nyx
