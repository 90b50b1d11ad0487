#include "monitor/keepalive.h"

#include "platform/ipc/ipc.h"
#include "unit/monitor/daemon_test.h"

#include <stdexcept>

// One test: there is one keep-alive in a process, and it has no way back.
using KeepAlive = DaemonTest;

TEST_F(KeepAlive, heartbeats_begin_when_every_check_has_passed)
{
    ::setenv("VOS_IPC_DIR", folder.path().c_str(), 1);
    int fd = -1;
    ASSERT_EQ(start_socket(&fd, "watchdog"), 0);
    const platform::UniqueFd watchdog(fd);
    const auto heartbeats = [fd] {
        ipcmsg_t record;
        int count = 0;
        while (read_msg(fd, &record, sizeof record, 0) > 0)
            ++count;
        return count;
    };
    auto& keep_alive = *nyx::KeepAlive::instance();
    EXPECT_THROW(keep_alive.pass_check(1), std::runtime_error) << "not initialised";
    keep_alive.init(3, "tester", "");
    keep_alive.init(0, "other", "other");
    EXPECT_EQ(log.count("init: Keepalive started for tester, pending for 3 checks"), 1);
    EXPECT_THROW(keep_alive.pass_check(0), std::runtime_error);
    EXPECT_THROW(keep_alive.pass_check(65), std::runtime_error);
    EXPECT_TRUE(log.contains("Provided value is A")) << "the number is written as a character";
    for (const int check : {3, 1, 3}) {
        keep_alive.pass_check(static_cast<unsigned char>(check));
        keep_alive.send_keepalive();
        keep_alive.send_when_due();
    }
    EXPECT_FALSE(keep_alive.is_pending());
    EXPECT_EQ(heartbeats(), 0);
    keep_alive.pass_check(2);
    EXPECT_TRUE(log.contains("pass_check: Ready to send KA messages"));
    EXPECT_TRUE(keep_alive.is_pending());
    keep_alive.send_when_due();
    EXPECT_EQ(heartbeats(), 0) << "not yet a second, and not yet the loop";
    run_in_loop([] {});
    EXPECT_EQ(heartbeats(), 1);
    keep_alive.send_when_due();
    EXPECT_EQ(heartbeats(), 0) << "the last one is fresh";
    keep_alive.send_keepalive();
    EXPECT_EQ(heartbeats(), 1);
    ::sleep(1);
    keep_alive.send_when_due();
    EXPECT_EQ(heartbeats(), 1);
    EXPECT_EQ(log.count("send_heartbeat: Sent heartbeat"), 2) << "but for the one between";
    keep_alive.del(false);
    ::unsetenv("VOS_IPC_DIR");
}
