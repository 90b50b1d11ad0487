#include "event/sigchild.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"
#include "watchdog/back_off.h"
#include "watchdog/child_process.h"

#include <gtest/gtest.h>

#include <sys/wait.h>

#include <csignal>
#include <optional>
#include <thread>

using namespace std::chrono_literals;
using namespace vos_watchdog;

TEST(BackOff, doubles_to_its_bound)
{
    BackOff back_off(1000ms, 60000ms);
    for (const auto want : {1s, 2s, 4s, 8s, 16s, 32s, 60s, 60s})
        EXPECT_EQ(back_off.delay_after(59999ms), want);
    BackOff odd(5000ms, 10ms);
    EXPECT_EQ(odd.delay_after(0ms), 5s) << "the longest is never shorter than the shortest";
}

TEST(ChildProcess, reports_how_the_program_ended_and_starts_the_next)
{
    std::optional<ProcessEnd> end;
    const auto wait_for_end = [&end] {
        end.reset();
        while (!end) {
            nyx::sigchild_handler(SIGCHLD, 0, nullptr);
            std::this_thread::sleep_for(1ms);
        }
        return describe_wait_status(end->status);
    };
    const TempFolder folder;
    const auto script = folder.write("program", "#!/bin/sh\nexit $((VOS_NODE_STATUS + 2))\n");
    std::filesystem::permissions(script, std::filesystem::perms::all);
    ChildProcess child(script, [&end](const ProcessEnd& how) { end = how; });
    ASSERT_TRUE(child.start());
    EXPECT_GT(child.pid(), 0);
    EXPECT_EQ(wait_for_end(), "exit status 3");
    EXPECT_FALSE(child.is_running());
    folder.write("program", "#!/bin/sh\nkill -STOP $$\nexec sleep 60\n");
    ASSERT_TRUE(child.start());
    std::this_thread::sleep_for(50ms);
    nyx::sigchild_handler(SIGCHLD, 0, nullptr);
    EXPECT_TRUE(child.is_running()) << "stopped is not ended";
    child.signal(SIGKILL);
    EXPECT_EQ(wait_for_end(), "signal 9 (Killed)");
    std::filesystem::remove(script);
    ASSERT_TRUE(child.start());
    EXPECT_EQ(wait_for_end(), "exit status 127");
}

namespace {

/// Writes its name down when it hears of a child; one of them is its own.
struct Subscriber : nyx::SigChildHandler {
    Subscriber(char its_name, int own, std::string& all) : name(its_name), until(own), heard(all) {}
    bool on_sigchild(pid_t, int) override { return heard += name, --until == 0; }
    char name;
    int until;
    std::string& heard;
};

} // namespace

TEST(SigChild, every_subscription_hears_of_every_child_until_its_own_has_ended)
{
    std::string heard;
    Subscriber twice('t', 4, heard), once('o', 99, heard);
    for (auto* subscriber : {&twice, &once, &twice})
        nyx::sigchild_handler_register(subscriber);
    for (int children = 0; children < 4; ++children) {
        nyx::sigchild_handler_unregister(children == 3 ? &once : nullptr);
        const pid_t pid = ::fork();
        if (pid == 0)
            ::_exit(0);
        siginfo_t info{};
        ::waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT);
        nyx::sigchild_handler(SIGCHLD, 0, nullptr);
        heard += ' ';
    }
    nyx::sigchild_handler_unregister(&twice);
    EXPECT_EQ(heard, "tot tot to t ") << "it was the later one that said so";
}
