#include "net/resolver.h"

#include "platform/logger/sup_logger.h"
#include "utils/nyx_helper.h"

#include <arpa/inet.h>

namespace nyx {

namespace {

constexpr int no_ttl = -1;
constexpr int static_ttl_sec = 3600;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Resolver");
    return instance;
}

std::string to_text(const in_addr& address)
{
    char text[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &address, text, sizeof text);
}

} // namespace

Resolver::Resolver(bool cache_enabled, int retries, unsigned int ns_timeout_ms,
                   unsigned int max_ttl_sec)
    : m_cache_enabled(cache_enabled), m_retries(retries), m_ns_timeout_ms(ns_timeout_ms),
      m_max_ttl_sec(max_ttl_sec)
{
    logger().debug("Resolver has been created: params: NS-Timeout-", m_ns_timeout_ms,
                   " (ms), Retries - ", m_retries, " , MAX-TTL-", m_max_ttl_sec,
                   " (sec), cache is ", m_cache_enabled ? " Enabled" : " Disabled");
}

void* Resolver::getaddrinfo_async(const std::string& host, ResolveCallback callback, void* context,
                                  const std::string& static_table)
{
    std::list<std::string> addresses;
    if (Helper::is_valid_ip_address(host)) {
        addresses.push_back(host);
        callback(false, host.c_str(), no_ttl, addresses, context);
        return nullptr;
    }
    std::list<in_addr> found;
    if (Helper::try_static_resolution(host, found, static_table)) {
        for (const auto& address : found)
            addresses.push_back(to_text(address));
        logger().debug("Static resolutions for [", host, "]");
        callback(false, host.c_str(), static_ttl_sec, addresses, context);
        return nullptr;
    }
    logger().error("getaddrinfo_async: can not resolve [", host,
                   "]: it is neither an IPv4 address nor in the static host table");
    callback(true, nullptr, no_ttl, addresses, context);
    return nullptr;
}

void Resolver::cancel_request(void* request)
{
    if (request == nullptr)
        logger().warning("cancel_request", "Received NULL context");
}

} // namespace nyx
