#include "net/resolver.h"

#include "dns/cache.h"
#include "net/ns_manager.h"
#include "platform/logger/sup_logger.h"
#include "text/ipv4.h"
#include "utils/nyx_helper.h"

#include <algorithm>
#include <exception>
#include <limits>
#include <utility>

namespace nyx {

namespace {

constexpr int no_ttl = -1;
constexpr int static_ttl_sec = 3600;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Resolver");
    return instance;
}

std::list<std::string> dotted_quads(const std::list<in_addr>& addresses)
{
    std::list<std::string> strings;
    for (const auto& address : addresses)
        strings.push_back(text::dotted_quad(address));
    return strings;
}

/// A TTL with its top bit set counts as 0: nobody means 68 years and more.
int signed_ttl(const NYXResponse& response)
{
    constexpr std::uint32_t largest = std::numeric_limits<int>::max();
    if (response.addresses.empty() && response.ttl == NYXResponse().ttl)
        return no_ttl;
    return response.ttl > largest ? 0 : static_cast<int>(response.ttl);
}

} // namespace

struct Resolver::Request {
    Resolver* owner;
    ResolveCallback callback;
    void* context;
    std::string host;
    int retries_left;
    NYXResolver* query; ///< deletes itself once it completes, and is replaced then
};

Resolver::Resolver(bool cache_enabled, int retries, unsigned int ns_timeout_ms,
                   unsigned int max_ttl_sec, int ns_port)
    : m_cache_enabled(cache_enabled), m_retries(retries), m_ns_timeout_ms(ns_timeout_ms),
      m_max_ttl_sec(max_ttl_sec), m_ns_port(ns_port)
{
    logger().debug("Resolver has been created: params: NS-Timeout-", m_ns_timeout_ms,
                   " (ms), Retries - ", m_retries, " , MAX-TTL-", m_max_ttl_sec,
                   " (sec), cache is ", m_cache_enabled ? " Enabled" : " Disabled");
}

Resolver::~Resolver()
{
    while (!m_requests.empty())
        cancel_request(m_requests.front().get());
}

void Resolver::use_local_ns(bool use)
{
    NSManeger::use_local_ns(use);
}

bool Resolver::is_local_ns_used()
{
    return NSManeger::is_local_ns_used();
}

void* Resolver::getaddrinfo_async(const std::string& host, ResolveCallback callback, void* context,
                                  const std::string& static_table)
{
    if (answer_at_once(host, static_table, callback, context))
        return nullptr;
    m_requests.push_back(
        std::make_unique<Request>(Request{this, callback, context, host, m_retries, nullptr}));
    if (start_query(*m_requests.back()))
        return m_requests.back().get();
    m_requests.pop_back();
    m_state = ResolverState::failing;
    std::list<std::string> none;
    callback(true, nullptr, no_ttl, none, context);
    return nullptr;
}

bool Resolver::answer_at_once(const std::string& host, const std::string& static_table,
                              ResolveCallback callback, void* context)
{
    std::list<std::string> addresses;
    if (Helper::is_valid_ip_address(host)) {
        addresses.push_back(host);
        m_state = ResolverState::literal;
        callback(false, host.c_str(), no_ttl, addresses, context);
        return true;
    }
    std::list<in_addr> found;
    if (Helper::try_static_resolution(host, found, static_table)) {
        addresses = dotted_quads(found);
        m_state = ResolverState::hosts_file;
        logger().debug("Static resolutions for [", host, "]");
        callback(false, host.c_str(), static_ttl_sec, addresses, context);
        return true;
    }
    auto* known = m_cache_enabled ? DNSCache::shared().get_answer(host) : nullptr;
    if (known == nullptr || known->is_expired())
        return false;
    logger().debug("DNS results for [", host, "] in cache");
    addresses = known->addresses();
    const int ttl = known->get_ttl();
    m_state = ResolverState::cached;
    known->rotate(); // first: the callback may change the cache
    callback(false, host.c_str(), ttl, addresses, context);
    return true;
}

bool Resolver::start_query(Request& request)
{
    try {
        auto query = std::make_unique<NYXResolver>(request.host, m_ns_timeout_ms, m_max_ttl_sec,
                                                   &response_function_cb, &request, m_ns_port);
        const bool started = query->is_started();
        request.query = started ? query.release() : nullptr; // from here on its own master
        return started;
    } catch (const std::exception& error) {
        logger().error("start_query: [", request.host, "] ", error.what());
        return false;
    }
}

void Resolver::response_function_cb(const NYXResponse& response, void* request)
{
    auto& own = *static_cast<Request*>(request);
    own.query = nullptr;
    own.owner->complete(response, own);
}

void Resolver::complete(const NYXResponse& response, Request& request)
{
    const bool failed = response.status != NYXResponse::status_good;
    if (failed && request.retries_left > 0) {
        --request.retries_left;
        logger().info("response_function_cb", " Got error in DNS response,  try again ...");
        if (start_query(request))
            return;
    }
    m_state = failed ? ResolverState::failing : ResolverState::fresh;
    // The callback may destroy this resolver: nothing of it is used after.
    const auto done = extract_request(&request);
    if (auto addresses = failed ? std::nullopt : keep_answer(response, done->host)) {
        done->callback(false, done->host.c_str(), signed_ttl(response), *addresses, done->context);
        return;
    }
    std::list<std::string> none;
    done->callback(true, nullptr, no_ttl, none, done->context);
}

/// The addresses, cached too. Nothing, logged, when memory runs out: whoever
/// asked is to hear of it all the same.
std::optional<std::list<std::string>> Resolver::keep_answer(const NYXResponse& response,
                                                            const std::string& host) const
{
    try {
        auto addresses = dotted_quads(response.addresses);
        if (m_cache_enabled && !addresses.empty())
            DNSCache::shared().save_answer(host, signed_ttl(response), addresses);
        return addresses;
    } catch (const std::exception& error) {
        logger().error("response_function_cb", " [", host, "] ", error.what());
        return std::nullopt;
    }
}

/// Takes `request` from those in flight; null when it is none of them.
std::unique_ptr<Resolver::Request> Resolver::extract_request(void* request)
{
    const auto found = std::find_if(m_requests.begin(), m_requests.end(),
                                    [request](const auto& own) { return own.get() == request; });
    if (found == m_requests.end())
        return nullptr;
    auto extracted = std::move(*found);
    m_requests.erase(found);
    return extracted;
}

void Resolver::cancel_request(void* request)
{
    if (request == nullptr) {
        logger().warning("cancel_request", "Received NULL context");
        return;
    }
    if (const auto cancelled = extract_request(request))
        const std::unique_ptr<NYXResolver> query(cancelled->query);
}

} // namespace nyx
