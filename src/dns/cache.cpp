#include "dns/cache.h"

#include "platform/logger/sup_logger.h"

#include <utility>

namespace nyx {

namespace {

SupLogger& answer_logger()
{
    static SupLogger& instance = SupLogger::get_instance("DNSAnswer");
    return instance;
}

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("DNSCache");
    return instance;
}

} // namespace

DNSAnswer::DNSAnswer(std::string host, std::list<std::string> addresses, int ttl_sec, Clock clock)
    : m_host(std::move(host)), m_addresses(std::move(addresses)), m_clock(clock),
      m_expiration(get_expiration_time(ttl_sec))
{
    answer_logger().debug("DNSAnswer", ": New entry is created for  [", m_host, "]");
}

void DNSAnswer::update(std::list<std::string> addresses, int ttl_sec)
{
    m_addresses = std::move(addresses);
    m_expiration = get_expiration_time(ttl_sec);
}

void DNSAnswer::rotate()
{
    if (m_addresses.size() > 1)
        m_addresses.splice(m_addresses.end(), m_addresses, m_addresses.begin());
}

std::uint64_t DNSAnswer::get_expiration_time(int ttl_sec) const
{
    const auto now = m_clock();
    return static_cast<std::uint64_t>((ttl_sec + static_cast<std::int64_t>(now.tv_sec)) * 1000 +
                                      now.tv_nsec / 1000000);
}

bool DNSAnswer::is_expired() const
{
    return get_expiration_time(0) > m_expiration;
}

int DNSAnswer::get_ttl() const
{
    const auto left_ms = static_cast<std::int64_t>(m_expiration - get_expiration_time(0));
    if (left_ms >= 0)
        return static_cast<int>(left_ms / 1000);
    answer_logger().debug("get_ttl", " DNS answer is no longer valid");
    return 0;
}

DNSCache& DNSCache::shared()
{
    static DNSCache cache;
    return cache;
}

void DNSCache::save_answer(const std::string& host, int ttl_sec,
                           const std::list<std::string>& addresses)
{
    if (auto* known = get_answer(host)) {
        known->update(addresses, ttl_sec);
        logger().debug("save_answer", ": The result for [", host, "] is updated, ttl: ", ttl_sec);
        return;
    }
    m_answers.try_emplace(host, host, addresses, ttl_sec, m_clock);
    if (size() > max_size) {
        logger().notice("save_answer", ": The cache is full, cache size: ", size(),
                        ", max size: ", max_size);
        clear_expired();
    }
}

DNSAnswer* DNSCache::get_answer(const std::string& host)
{
    const auto found = m_answers.find(host);
    return found != m_answers.end() ? &found->second : nullptr;
}

void DNSCache::del_answer(const std::string& host)
{
    logger().debug("del_answer", ": Going to delete results for [", host, "]");
    if (m_answers.erase(host) == 0)
        logger().debug("del_answer", ": The result for [", host, "] is not found.");
}

void DNSCache::clear_expired()
{
    logger().debug("clear_expired", ": Going to remove all expired results");
    const auto removed =
        std::erase_if(m_answers, [](const auto& entry) { return entry.second.is_expired(); });
    logger().debug("clear_expired", ": ", removed, " entries is removed");
}

void DNSCache::clear_cache()
{
    logger().debug("clear_cache", ": Going clear the cache");
    m_answers.clear();
}

} // namespace nyx
