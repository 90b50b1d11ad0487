#include "dns/cache.h"
#include "net/ns_manager.h"
#include "net/resolver.h"

#include <gtest/gtest.h>

namespace {

using nyx::NSList;
using Addresses = std::list<std::string>;

long now_ms = 100999;
timespec get_now()
{
    return {now_ms / 1000, now_ms % 1000 * 1000000};
}

TEST(DnsCacheTest, an_answer_is_good_for_its_ttl_and_its_addresses_take_turns)
{
    nyx::DNSCache cache(&get_now);
    EXPECT_EQ(cache.get_answer("a"), nullptr);
    cache.save_answer("a", 2, {"1", "2", "3"});
    auto& answer = *cache.get_answer("a");
    EXPECT_EQ(answer.get_expiration_time(2), 102999U);
    answer.rotate();
    EXPECT_EQ(answer.addresses(), (Addresses{"2", "3", "1"}));
    now_ms += 1;
    EXPECT_EQ(answer.get_ttl(), 1);
    now_ms += 1999;
    EXPECT_FALSE(answer.is_expired());
    now_ms += 1;
    EXPECT_TRUE(answer.is_expired());
    EXPECT_EQ(answer.get_ttl(), 0);
    cache.save_answer("a", 1, {"4"});
    EXPECT_FALSE(answer.is_expired());
    answer.rotate();
    EXPECT_EQ(answer.addresses(), Addresses{"4"});
    cache.del_answer("b");
    cache.del_answer("a");
    EXPECT_EQ(cache.size(), 0U);
}

TEST(DnsCacheTest, a_full_cache_loses_what_has_expired_only)
{
    nyx::DNSCache cache(&get_now);
    for (int i = 0; i < 1001; ++i)
        cache.save_answer(std::to_string(i), i < 500 ? 1 : 60, {"1"});
    EXPECT_EQ(cache.size(), 1001U);
    now_ms += 1001;
    cache.save_answer("last", 60, {"1"});
    EXPECT_EQ(cache.size(), 502U);
}

TEST(NSManegerTest, follows_the_configuration_and_learns_who_answers)
{
    EXPECT_EQ(nyx::build_ns_list({}), (NSList{0x08080808, 0x01010101}));
    EXPECT_EQ(nyx::build_ns_list({7, 7, 0x08080808, 5}), (NSList{7, 0x08080808, 5, 0x01010101}));
    EXPECT_FALSE(nyx::names_a_server("# nameserver 127.0.0.1\nnameserver\nsearch nameserver x\n"));
    EXPECT_TRUE(nyx::names_a_server("search x\n  nameserver\t127.0.0.1"));
    NSList list{1, 2, 3};
    nyx::NSManeger manager([&list] { return list; });
    const auto expect = [&manager](const NSList& want) { EXPECT_EQ(manager.get_ns_copy(), want); };
    manager.notify_ns_status(1, true);
    expect({2, 3, 1});
    manager.notify_ns_status(3, false);
    manager.notify_ns_status(9, false); // has left the list meanwhile
    expect({3, 2, 1});
    list = {5, 1, 3, 4};
    manager.update_ns(false);
    expect({3, 1, 5, 4});
    nyx::Resolver::use_local_ns();
    manager.update_ns(false);
    expect({3, 1, 5, 4});
    manager.update_ns(true);
    manager.update_ns(true);
    expect({3, 1, 5, 4, htonl(INADDR_LOOPBACK)});
    nyx::Resolver::use_local_ns(false);
    manager.update_ns(true);
    expect(list);
}

} // namespace
