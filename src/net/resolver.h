// Turns host names into IPv4 addresses without blocking the event loop.
#pragma once

#include "net/nyx_resolver.h"
#include "net/resolver_state.h"

#include <list>
#include <memory>
#include <optional>
#include <string>

namespace nyx {

/// Receives the outcome of a resolution: `ttl` in seconds, -1 when there is none
/// (an address literal, an answer without records, a failure); `name` null and
/// `addresses` empty when it `failed`; `context` as given. A name that exists
/// without addresses has not failed.
using ResolveCallback = void (*)(bool failed, const char* name, int ttl,
                                 std::list<std::string>& addresses, void* context);

/// Answers at once from address literals, the static host table and the cache
/// of answers; asks the name servers for every other name.
class Resolver {
public:
    /// Whether answers are cached, the further queries after a failed one, the
    /// milliseconds to wait for a name server, and the cap on an answer's TTL
    /// in seconds (0: none). The name servers listen on `ns_port`.
    Resolver(bool cache_enabled, int retries, unsigned int ns_timeout_ms, unsigned int max_ttl_sec,
             int ns_port = dns_port);
    Resolver(const Resolver&) = delete;
    Resolver& operator=(const Resolver&) = delete;
    /// Abandons all resolutions in flight.
    ~Resolver();

    /// Resolves `host`. Null when `callback` has been called already; otherwise
    /// a handle for cancel_request(), good until `callback` is called. Names
    /// are looked up in the file `static_table` first.
    void* getaddrinfo_async(const std::string& host, ResolveCallback callback, void* context,
                            const std::string& static_table = "/etc/hosts");

    /// Abandons a resolution in flight; its callback is not called.
    void cancel_request(void* request);

    /// How the last resolution ended.
    ResolverState state() const { return m_state; }

    /// NSManeger's: whether the name server on this machine is used too.
    static void use_local_ns(bool use = true);
    static bool is_local_ns_used();

private:
    struct Request;

    static void response_function_cb(const NYXResponse& response, void* request);
    bool answer_at_once(const std::string& host, const std::string& static_table,
                        ResolveCallback callback, void* context);
    bool start_query(Request& request);
    void complete(const NYXResponse& response, Request& request);
    std::optional<std::list<std::string>> keep_answer(const NYXResponse& response,
                                                      const std::string& host) const;
    std::unique_ptr<Request> extract_request(void* request);

    bool m_cache_enabled;
    int m_retries;
    unsigned int m_ns_timeout_ms;
    unsigned int m_max_ttl_sec;
    int m_ns_port;
    ResolverState m_state{ResolverState::unused};
    std::list<std::unique_ptr<Request>> m_requests; ///< in flight
};

} // namespace nyx
