#include "dns/cache.h"

#include <gtest/gtest.h>

namespace {

using Addresses = std::list<std::string>;

long now_ms;
timespec get_now()
{
    return {now_ms / 1000, now_ms % 1000 * 1000000};
}

TEST(DnsCacheTest, an_answer_is_good_for_its_ttl_and_its_addresses_take_turns)
{
    now_ms = 100999;
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

} // namespace
