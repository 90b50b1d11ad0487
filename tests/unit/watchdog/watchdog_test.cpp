#include "common/nyx_sigchild.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"
#include "watchdog/back_off.h"
#include "watchdog/child_process.h"
#include "watchdog/notify.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <csignal>
#include <cstring>
#include <optional>
#include <thread>

using namespace std::chrono_literals;
using namespace vos_watchdog;

TEST(BackOff, doubles_to_its_bound_and_starts_anew_after_a_long_run)
{
    BackOff back_off(1000ms, 60000ms);
    for (const auto want : {1s, 2s, 4s, 8s, 16s, 32s, 60s, 60s})
        EXPECT_EQ(back_off.delay_after(59999ms), want);
    EXPECT_EQ(back_off.delay_after(60000ms), 1s);
    EXPECT_EQ(back_off.delay_after(0ms), 2s);
    BackOff odd(5000ms, 10ms);
    EXPECT_EQ(odd.delay_after(0ms), 5s) << "the longest is never shorter than the shortest";
}

TEST(Notifier, speaks_to_the_socket_of_the_service_manager)
{
    const TempFolder folder;
    const std::string abstract = "@vos_notify_" + std::to_string(::getpid());
    for (const auto& name : {folder.file("notify"), abstract}) {
        const platform::UniqueFd manager(::socket(AF_UNIX, SOCK_DGRAM, 0));
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.data(), name.size());
        if (name.front() == '@')
            address.sun_path[0] = '\0';
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        ASSERT_EQ(::bind(manager.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
        ::setenv("NOTIFY_SOCKET", name.c_str(), 1);
        const Notifier notifier;
        EXPECT_EQ(std::getenv("NOTIFY_SOCKET"), nullptr) << "the daemon is not to see it";
        notifier.send("READY=1\nSTATUS=up");
        char text[64]{};
        EXPECT_EQ(::recv(manager.get(), text, sizeof text, MSG_DONTWAIT), 17);
        EXPECT_STREQ(text, "READY=1\nSTATUS=up");
    }
    for (const char* unusable : {"", "/", "/nonexistent/socket"}) {
        ::setenv("NOTIFY_SOCKET", unusable, 1);
        const Notifier notifier;
        EXPECT_FALSE(notifier.is_connected());
        notifier.send("READY=1");
    }
}

TEST(ChildProcess, tells_how_the_program_ended_and_starts_the_next)
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
    const auto script = folder.write("program", "#!/bin/sh\nexit 3\n");
    std::filesystem::permissions(script, std::filesystem::perms::all);
    ChildProcess child(script, [&end](const ProcessEnd& how) { end = how; });
    ASSERT_EQ(child.start(), 0);
    EXPECT_GT(child.pid(), 0);
    EXPECT_EQ(wait_for_end(), "exit status 3");
    EXPECT_FALSE(child.is_running());
    folder.write("program", "#!/bin/sh\nkill -STOP $$\nexec sleep 60\n");
    ASSERT_EQ(child.start(), 0);
    std::this_thread::sleep_for(50ms);
    nyx::sigchild_handler(SIGCHLD, 0, nullptr);
    EXPECT_TRUE(child.is_running()) << "stopped is not ended";
    child.signal(SIGKILL);
    EXPECT_EQ(wait_for_end(), "signal 9 (Killed)");
    std::filesystem::remove(script);
    ASSERT_EQ(child.start(), 0);
    EXPECT_EQ(wait_for_end(), "exit status 127");
}

namespace {

/// Writes down what it hears; says of its own child that it is.
struct Subscriber : nyx::SigChildHandler {
    bool on_sigchild(pid_t pid, int) override
    {
        heard += pid == own ? "own " : "other ";
        return pid == own;
    }
    pid_t own{0};
    std::string heard;
};

} // namespace

TEST(SigChild, every_subscriber_hears_of_every_child_until_its_own_has_ended)
{
    Subscriber first;
    Subscriber second;
    for (auto* subscriber : {&first, &second})
        nyx::sigchild_handler_register(subscriber);
    const auto reap_one = [](pid_t* pid) {
        *pid = ::fork();
        if (*pid == 0)
            ::_exit(0);
        siginfo_t info{};
        ::waitid(P_PID, static_cast<id_t>(*pid), &info, WEXITED | WNOWAIT);
        nyx::sigchild_handler(SIGCHLD, 0, nullptr);
    };
    pid_t someone = 0;
    reap_one(&someone);
    reap_one(&first.own);
    reap_one(&someone);
    EXPECT_EQ(first.heard, "other own ");
    EXPECT_EQ(second.heard, "other other other ");
    nyx::sigchild_handler_unregister(&second);
    reap_one(&someone);
    EXPECT_EQ(second.heard, "other other other ");
}
