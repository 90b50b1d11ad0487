// The answers of name servers, kept for as long as they are good.
#pragma once

#include "platform/clock/monotonic.h"

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <list>
#include <map>
#include <string>

namespace nyx {

using Clock = timespec (*)(); ///< a monotonic clock

/// The addresses of one host, in the order in which they are handed out next.
class DNSAnswer {
public:
    /// Good for `ttl_sec` seconds from now.
    DNSAnswer(std::string host, std::list<std::string> addresses, int ttl_sec,
              Clock clock = &platform::monotonic_now);

    /// Replaces the addresses; they are good for `ttl_sec` seconds from now.
    void update(std::list<std::string> addresses, int ttl_sec);
    /// The first address becomes the last.
    void rotate();

    /// The time `ttl_sec` seconds from now, in milliseconds on the clock.
    std::uint64_t get_expiration_time(int ttl_sec) const;
    /// Whether its time is over.
    bool is_expired() const;
    /// Whole seconds left; 0 when the time is over, which is logged.
    int get_ttl() const;
    const std::list<std::string>& addresses() const { return m_addresses; }

private:
    std::string m_host;
    std::list<std::string> m_addresses;
    Clock m_clock;
    std::uint64_t m_expiration;
};

/// Not locked: for the thread of the event loop.
class DNSCache {
public:
    static constexpr std::size_t max_size = 1000;

    explicit DNSCache(Clock clock = &platform::monotonic_now) : m_clock(clock) {}
    /// The one that the resolvers of this process share.
    static DNSCache& shared();

    /// Keeps or replaces the answer for `host`. With more than max_size of them
    /// the expired ones go; those that are still good stay all the same.
    void save_answer(const std::string& host, int ttl_sec, const std::list<std::string>& addresses);
    /// The answer for `host`, expired or not; null when there is none. Owned by
    /// the cache, good until the cache changes.
    DNSAnswer* get_answer(const std::string& host);
    /// Removes the answer for `host`, if there is one.
    void del_answer(const std::string& host);
    /// Removes the answers whose time is over.
    void clear_expired();
    /// Removes all answers.
    void clear_cache();
    std::size_t size() const { return m_answers.size(); }

private:
    Clock m_clock;
    std::map<std::string, DNSAnswer> m_answers;
};

} // namespace nyx
