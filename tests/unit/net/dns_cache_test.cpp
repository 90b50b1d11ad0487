#include "net/dns_cache.h"
#include "net/ns_manager.h"
#include "net/resolver.h"
#include "support/captured_log.h"

#include <gtest/gtest.h>

namespace {

using nyx::NSList;
using Addresses = std::list<std::string>;

timespec now{100, 999'000'000};
timespec get_now()
{
    return now;
}
void step_ms(long ms)
{
    now.tv_nsec += ms * 1000000;
    now.tv_sec += now.tv_nsec / 1000000000;
    now.tv_nsec %= 1000000000;
}

TEST(DnsCacheTest, an_answer_is_good_for_its_ttl_and_its_addresses_take_turns)
{
    nyx::DNSCache cache(&get_now);
    EXPECT_EQ(cache.get_answer("a"), nullptr);
    cache.save_answer("a", 2, {"1", "2", "3"});
    auto* answer = cache.get_answer("a");
    ASSERT_NE(answer, nullptr);
    EXPECT_EQ(answer->get_expiration_time(2), 102999U);
    answer->rotate();
    EXPECT_EQ(answer->addresses(), (Addresses{"2", "3", "1"}));
    step_ms(1);
    EXPECT_EQ(answer->get_ttl(), 1);
    step_ms(1999);
    EXPECT_FALSE(answer->is_expired());
    step_ms(1);
    EXPECT_TRUE(answer->is_expired());
    EXPECT_EQ(answer->get_ttl(), 0);
    cache.save_answer("a", 1, {"4"});
    answer->rotate();
    EXPECT_EQ(answer->addresses(), Addresses{"4"});
    EXPECT_EQ(answer->get_ttl(), 1);
    cache.del_answer("b");
    cache.del_answer("a");
    EXPECT_EQ(cache.size(), 0U);
}

TEST(DnsCacheTest, a_full_cache_loses_what_has_expired_only)
{
    nyx::DNSCache cache(&get_now);
    const CapturedLog log;
    for (int i = 0; i < 1001; ++i)
        cache.save_answer(std::to_string(i), i < 500 ? 1 : 60, {"1"});
    EXPECT_EQ(cache.size(), 1001U);
    EXPECT_TRUE(log.contains("save_answer: The cache is full, cache size: 1001, max size: 1000"));
    EXPECT_TRUE(log.contains("clear_expired: 0 entries is removed"));
    step_ms(1001);
    cache.save_answer("last", 60, {"1"});
    EXPECT_EQ(cache.size(), 502U);
    cache.clear_cache();
    EXPECT_EQ(cache.size(), 0U);
}

TEST(NSManegerTest, public_servers_follow_those_of_the_system)
{
    const in_addr_t eight = 0x08080808;
    const in_addr_t one = 0x01010101;
    EXPECT_EQ(nyx::build_ns_list({}), (NSList{eight, one}));
    EXPECT_EQ(nyx::build_ns_list({7, 7, eight, 5}), (NSList{7, eight, 5, one}));
    EXPECT_FALSE(nyx::names_a_server("# nameserver 127.0.0.1\nnameserver\nsearch nameserver x\n"));
    EXPECT_TRUE(nyx::names_a_server("search x\n  nameserver\t127.0.0.1"));
}

TEST(NSManegerTest, learns_who_answers_and_follows_the_configuration)
{
    NSList configured{1, 2, 3};
    nyx::NSManeger manager([&configured] { return configured; });
    const struct {
        const char* name;
        in_addr_t server;
        bool failed;
        NSList want;
    } steps[] = {{"failed", 1, true, {2, 3, 1}},
                 {"answered", 3, false, {3, 2, 1}},
                 {"unknown", 9, false, {3, 2, 1}}};
    for (const auto& step : steps) {
        manager.notify_ns_status(step.server, step.failed);
        EXPECT_EQ(manager.get_ns_copy(), step.want) << step.name;
    }
    configured = {5, 1, 3, 4};
    manager.update_ns(false);
    EXPECT_EQ(manager.get_ns_copy(), (NSList{3, 1, 5, 4}));
    nyx::Resolver::use_local_ns();
    const auto local = htonl(INADDR_LOOPBACK);
    manager.update_ns(false);
    EXPECT_EQ(manager.get_ns_copy().size(), 4U);
    manager.update_ns(true);
    manager.update_ns(true);
    EXPECT_EQ(manager.get_ns_copy(), (NSList{3, 1, 5, 4, local}));
    nyx::Resolver::use_local_ns(false);
    manager.update_ns(true);
    EXPECT_EQ(manager.get_ns_copy(), configured);
    manager.set_source([] { return NSList{7}; });
    manager.notify_ns_status(7, true);
    EXPECT_EQ(manager.get_ns_copy(), NSList{7});
}

} // namespace
