// One DNS query, taken to the name servers in turn until one answers.
#pragma once

#include "dns/message.h"
#include "dns/response.h"
#include "net/async_udp_client.h"
#include "net/ns_manager.h"

#include <ctime>
#include <string>

namespace nyx {

constexpr int dns_port = 53;

/// Asks the servers that NSManeger lists at construction. To be made on the
/// heap: it deletes itself after its completion, and nobody else may then.
/// Destroying it before cancels the query.
class NYXResolver : public UDPClient {
public:
    using Completion = void (*)(const NYXResponse& response, void* context);

    /// Each server has `ns_timeout_ms` to answer, however much else arrives. A
    /// TTL above `max_ttl_sec` counts as that; 0 is no cap. `completion` gets
    /// `context`, which is not owned. The servers listen on `port`.
    NYXResolver(const std::string& host, unsigned int ns_timeout_ms, unsigned int max_ttl_sec,
                Completion completion, void* context, int port = dns_port);

    /// Whether the query is under way. False, after one error record, when
    /// `host` can be no name or there is no event loop: it never completes
    /// then, and has to be destroyed.
    bool is_started() const { return m_started; }

    void on_connect_success() override;
    void on_connect_failure() override;
    void on_writecb() override;
    void on_readcb() override;

private:
    static void start_resolver(int fd, short events, void* resolver);
    void start();
    void recharge_resolver();
    void finished();
    unsigned int remaining_ms() const;
    void drop_datagram();
    void log_dropped() const;
    void act_on(DnsReply reply);

    NYXEventLibEventTimer m_start_event;
    Completion m_completion;
    void* m_context;
    NYXResponse m_response;
    NSList m_servers; ///< still to try; the front is being asked
    std::string m_query;
    unsigned int m_ns_timeout_ms;
    unsigned int m_max_ttl_sec;
    int m_port;
    bool m_started{false};
    bool m_query_written{false}; ///< to the front server
    timespec m_asked_at{};       ///< when the front server was asked
    unsigned long m_dropped{0};  ///< datagrams since then
};

} // namespace nyx
