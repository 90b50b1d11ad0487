#include "net/nyx_resolver.h"

#include "platform/logger/sup_logger.h"
#include "text/ipv4.h"
#include "utils/nyx_helper.h"

#include <algorithm>
#include <array>
#include <memory>
#include <string_view>
#include <utility>

namespace nyx {

namespace {

constexpr std::size_t largest_datagram = 65535;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("NYXResolver");
    return instance;
}

void log_ttl(const DnsRecord& record, unsigned int cap, const char* what)
{
    if (record.used_ttl == record.ttl)
        logger().debug("on_readcb", what, "using ttl from parsed record: ", record.ttl,
                       ", (ttl from c-tor = ", cap, ")");
    else
        logger().debug("on_readcb", what, "using ttl from c-tor: ", cap,
                       ", (ttl from parsed record = ", record.ttl, ")");
}

void log_record(const DnsRecord& record, unsigned int cap, const std::string& host)
{
    switch (record.kind) {
    case DnsRecord::Kind::address:
        log_ttl(record, cap, " read 'A', ");
        logger().debug("on_readcb", " resolution acquired [ ", text::dotted_quad(record.address),
                       " ] for hostname: ", host);
        break;
    case DnsRecord::Kind::alias:
        log_ttl(record, cap, " Read cname, ");
        logger().info("on_readcb", " CNAME resolution acquired [ ", record.alias,
                      " ] for hostname: ", host);
        break;
    case DnsRecord::Kind::unreadable_alias:
        logger().error("on_readcb", " Failed to read CNAME from DNS response");
        break;
    case DnsRecord::Kind::unhandled:
        logger().debug("on_readcb", " skipping unhandled record type (", record.type, ")");
        break;
    }
}

void log_fault(DnsReply::Fault fault, const std::string& host)
{
    switch (fault) {
    case DnsReply::Fault::none:
        break;
    case DnsReply::Fault::malformed_message:
        logger().error("on_readcb",
                       " ERROR failed init parsing response. Incomplete buffer, hostname: ", host);
        break;
    case DnsReply::Fault::truncated:
        logger().warning("on_readcb", " Truncation occurred, hostname: ", host);
        break;
    case DnsReply::Fault::malformed_record:
        logger().error("on_readcb", " Failed to parse msg, hostname: ", host);
        break;
    }
}

void log_reply(const DnsReply& reply, unsigned int cap)
{
    const auto& host = reply.response.host;
    if (reply.response_code != 0)
        logger().error("on_readcb", " Got error in resoponse code: ", reply.response_code,
                       ", hostname: ", host);
    auto ttl = NYXResponse().ttl; // not that of the response, which a fault has emptied
    for (const auto& record : reply.records) {
        log_record(record, cap, host);
        if (!record.bounds_ttl())
            continue;
        ttl = std::min(ttl, record.used_ttl);
        logger().debug("on_readcb", " Setting resoponse min ttl with value: ", ttl);
    }
    log_fault(reply.fault, host);
}

} // namespace

NYXResolver::NYXResolver(const std::string& host, unsigned int ns_timeout_ms,
                         unsigned int max_ttl_sec, Completion completion, void* context, int port)
    : m_start_event(&start_resolver, this, -1), m_completion(completion), m_context(context),
      m_servers(NSManeger::instance().get_ns_copy()), m_ns_timeout_ms(ns_timeout_ms),
      m_max_ttl_sec(max_ttl_sec), m_port(port)
{
    m_response.host = host;
    auto query = build_dns_query(host);
    if (!query) {
        logger().error("NYXResolver: [", host, "] can not be the name of a host");
        return;
    }
    m_query = std::move(*query);
    m_started = m_start_event.charge(0);
}

void NYXResolver::start_resolver(int, short, void* resolver)
{
    static_cast<NYXResolver*>(resolver)->start();
}

void NYXResolver::start()
{
    m_query_written = false;
    m_dropped = 0;
    if (m_servers.empty()) {
        logger().warning("start_resolver", ": No more nameservers to query");
        m_response.status = NYXResponse::status_next_server; // of which there is none
        finished();
        return;
    }
    if (!connect(m_servers.front(), m_port, -1, ""))
        recharge_resolver();
}

void NYXResolver::on_connect_success()
{
    m_asked_at = Helper::get_clock();
    m_query_written = m_buffer->enable(event_writable) && m_buffer->disable(event_readable) &&
                      set_timeout_ms(m_ns_timeout_ms) &&
                      m_buffer->write(m_query.data(), m_query.size());
    if (m_query_written)
        return;
    logger().warning("on_connect_success", " Failed to write request. ");
    recharge_resolver();
}

void NYXResolver::on_connect_failure()
{
    recharge_resolver();
}

/// The buffer event also calls this for the connect itself, before there is a query.
void NYXResolver::on_writecb()
{
    if (m_query_written)
        await_datagrams();
}

void NYXResolver::on_readcb()
{
    std::array<char, largest_datagram> datagram;
    const int size = m_buffer->read(datagram.data(), datagram.size());
    if (size < 0) {
        logger().error("on_readcb", " Failed to read, hostname: ", m_response.host);
        recharge_resolver();
        return;
    }
    auto reply = parse_dns_reply({datagram.data(), static_cast<std::size_t>(size)}, m_query,
                                 m_response.host, m_max_ttl_sec);
    if (reply.verdict == DnsReply::Verdict::foreign)
        drop_datagram();
    else
        act_on(std::move(reply));
}

/// Whoever sends a flood of forged answers gets neither a longer wait nor a log
/// full of them: the first is recorded, the others are counted.
void NYXResolver::drop_datagram()
{
    if (++m_dropped == 1)
        logger().warning("on_readcb", " dropped a datagram from ", server_address(),
                         " that is no answer to the query, hostname: ", m_response.host);
    const auto left_ms = remaining_ms();
    if (left_ms > 0) {
        set_timeout_ms(left_ms); // reading has started it anew
        return;
    }
    eventcb(buffer_reading | buffer_timeout, static_cast<UDPClient*>(this));
}

unsigned int NYXResolver::remaining_ms() const
{
    const auto waited = Helper::get_clock_diff_ms(Helper::get_clock(), m_asked_at);
    const auto left = static_cast<std::int64_t>(m_ns_timeout_ms) - waited;
    return static_cast<unsigned int>(std::max<std::int64_t>(0, left));
}

void NYXResolver::act_on(DnsReply reply)
{
    log_reply(reply, m_max_ttl_sec);
    m_buffer->set_timeouts(nullptr, nullptr);
    m_buffer->disable(event_readable);
    m_response = std::move(reply.response);
    if (reply.verdict == DnsReply::Verdict::next_server) {
        recharge_resolver();
        return;
    }
    log_dropped();
    NSManeger::instance().notify_ns_status(m_servers.front(), false);
    finished();
}

/// Their number, once no more of them are waited for.
void NYXResolver::log_dropped() const
{
    if (m_dropped > 1)
        logger().warning("NYXResolver: dropped ", m_dropped, " datagrams from ", server_address(),
                         " in all, hostname: ", m_response.host);
}

/// On to the next server, on the next loop turn.
void NYXResolver::recharge_resolver()
{
    log_dropped();
    cleanup(); // what this server still sends is not read
    NSManeger::instance().notify_ns_status(m_servers.front(), true);
    m_servers.pop_front();
    m_start_event.charge(0);
}

void NYXResolver::finished()
{
    const std::unique_ptr<NYXResolver> self(this);
    m_completion(m_response, m_context);
}

} // namespace nyx
