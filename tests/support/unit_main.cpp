// One main for all unit tests: libevent's debug mode is on, as in the daemon.
#include <gtest/gtest.h>

#if __has_include("common/nyx_libevent.h") // where the library under test knows events
#include "common/nyx_libevent.h"
#endif

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
#if __has_include("common/nyx_libevent.h")
    nyx::NYXEventBase::enable_debug_mode();
#endif
    return RUN_ALL_TESTS();
}
