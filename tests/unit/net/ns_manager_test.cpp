#include "net/ns_manager.h"

#include "net/resolver.h"

#include <gtest/gtest.h>

using nyx::NSList;

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
