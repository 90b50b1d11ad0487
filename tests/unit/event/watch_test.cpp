#include "event/signal_watch.h"
#include "event/socket_watch.h"
#include "event/timer.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <csignal>
#include <memory>

using namespace nyx;
using namespace std::chrono_literals;

TEST(Watches, call_what_they_were_given_and_may_go_meanwhile)
{
    NYXEventBase base;
    base.init();
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_DGRAM, 0, ends), 0);
    std::string order;
    int periods = 0;
    PeriodicTimer periodic([&] { ++periods == 2 ? NYXEventBase::loop_exit() : void(); });
    SignalWatch signal(SIGUSR1, [&] { order += "signal "; });
    std::unique_ptr<SocketWait> wait;
    SocketWatch watch([&] {
        char byte;
        EXPECT_EQ(::read(ends[0], &byte, 1), 1);
        order += "readable ";
        ASSERT_TRUE(wait->await(ends[0], 1ms));
    });
    wait = std::make_unique<SocketWait>([&](SocketWait::Outcome outcome) {
        order += outcome == SocketWait::Outcome::timed_out ? "timed_out " : "waited ";
        wait.reset();
        order += "gone ";
        EXPECT_TRUE(periodic.start(1ms));
    });
    Timer timer([&] {
        order += "due ";
        EXPECT_TRUE(watch.start(ends[0]));
        EXPECT_EQ(::write(ends[1], "x", 1), 1);
    });
    Timer cancelled([&] { order += "never "; });
    EXPECT_TRUE(signal.start() && timer.charge(1ms) && cancelled.charge(0ms));
    cancelled.cancel();
    ::raise(SIGUSR1);
    base.dispatch();
    EXPECT_EQ(order, "signal due readable timed_out gone ");
    ::close(ends[0]);
    ::close(ends[1]);
}
