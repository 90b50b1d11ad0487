// Turns host names into IPv4 addresses without blocking the event loop.
#pragma once

#include <list>
#include <string>

namespace nyx {

/// Receives the outcome of a resolution: `ttl` in seconds, -1 when it has none;
/// `name` null and `addresses` empty when it `failed`; `context` as given.
using ResolveCallback = void (*)(bool failed, const char* name, int ttl,
                                 std::list<std::string>& addresses, void* context);

/// Answers from what the host itself knows: address literals and the static
/// host table. Other names fail.
class Resolver {
public:
    /// Whether answers are cached, the further queries after a failed one, the
    /// milliseconds to wait for a name server, and the cap on an answer's TTL
    /// in seconds (0: none).
    Resolver(bool cache_enabled, int retries, unsigned int ns_timeout_ms, unsigned int max_ttl_sec);

    /// Resolves `host`. Null when `callback` has been called already; otherwise
    /// a handle for cancel_request(), good until `callback` is called. Names
    /// are looked up in the file `static_table`.
    void* getaddrinfo_async(const std::string& host, ResolveCallback callback, void* context,
                            const std::string& static_table = "/etc/hosts");

    /// Abandons a resolution in flight; its callback is not called.
    void cancel_request(void* request);

private:
    bool m_cache_enabled;
    int m_retries;
    unsigned int m_ns_timeout_ms;
    unsigned int m_max_ttl_sec;
};

} // namespace nyx
