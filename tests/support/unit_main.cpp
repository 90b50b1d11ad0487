// One main for all unit tests: libevent's debug mode is on, as in the daemon.
#include <event2/event.h>
#include <gtest/gtest.h>

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    event_enable_debug_mode();
    return RUN_ALL_TESTS();
}
