#include "platform/ipc/ipc.h"
#include "unit/monitor/daemon_test.h"

namespace {

using NodeStatus = DaemonTest;

TEST_F(NodeStatus, is_one_record_a_second_and_none_without_a_link_a_reporter_or_a_wish)
{
    const auto now = NodeStatusSender::Clock::now();
    const platform::UniqueFd owned(std::exchange(daemon.ipc_fd, -1)); // no more the daemon's
    int link = owned.get();
    NodeStatusSender unasked(link, daemon.reporter);
    ::setenv(node_status_variable, "1", 1);
    NodeStatusSender sender(link, daemon.reporter);
    ::unsetenv(node_status_variable);
    const auto records_after = [&](int seconds) {
        const auto then = now + std::chrono::seconds(seconds);
        run_in_loop([&] {
            for (auto* one : {&sender, &sender, &unasked})
                one->status_changed(then);
        });
        int count = 0;
        for (ipcmsg_t record; read_msg(supervisor.get(), &record, sizeof record, 0) > 0;)
            count += record.type == ipc_node_status ? 1 : 0;
        return count;
    };
    EXPECT_EQ(records_after(0), 1);
    EXPECT_EQ(records_after(2), 1);
    link = -1;
    EXPECT_EQ(records_after(4), 0) << "no link";
    link = owned.get();
    daemon.reporter.reset();
    EXPECT_EQ(records_after(6), 0) << "no reporter";
    daemon.reporter = std::make_unique<FakeReporter>(store);
    EXPECT_EQ(records_after(8), 1);
    EXPECT_EQ(records_after(0), 0) << "a second has not passed";
}

} // namespace
