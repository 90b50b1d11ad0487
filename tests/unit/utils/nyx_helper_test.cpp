#include "common/nyx_configurator.h"
#include "platform/file/while_waiting.h"
#include "platform/process/program_runner.h"
#include "support/captured_log.h"
#include "utils/nyx_helper.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/wait.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <thread>

using nyx::Helper;

namespace {

std::string texts(const std::list<in_addr>& addresses)
{
    std::string all;
    for (const auto& address : addresses)
        all += std::string(::inet_ntoa(address)) + " ";
    return all;
}

TEST(StaticHosts, lines_of_every_kind)
{
    using namespace std::string_literals;
    const auto table = "192.0.2.8\0x server\n192.0.2.7 server\0x\n"
                       "127.0.0.1\tlocalhost\n"
                       "# 192.0.2.9 server\n"
                       "192.0.2.1 server.example server # server\n"
                       "::1 server\n"
                       "not.an.address server\n"
                       "192.0.2.3\n"
                       "192.0.2.2   Server server"s;
    const auto found = [&table](const char* host) {
        return texts(nyx::parse_static_hosts(table, host));
    };
    EXPECT_EQ(found("localhost") + found("SERVER.example"), "127.0.0.1 192.0.2.1 ");
    EXPECT_EQ(found("server"), "192.0.2.1 192.0.2.2 ");
    EXPECT_EQ(found("#") + found("") + found("unknown"), "");
    std::list<in_addr> none;
    EXPECT_FALSE(Helper::try_static_resolution("server", none, "/nonexistent"));
}

TEST(Helper, splitting)
{
    using Pieces = std::vector<std::string>;
    EXPECT_EQ(Helper::deserialize_strings("1\n\n2\n", '\n'), (Pieces{"1", "", "2"}));
    EXPECT_EQ(Helper::deserialize_strings("1,2", ','), (Pieces{"1", "2"}));
    EXPECT_EQ(Helper::deserialize_strings("", ','), Pieces{});
}

TEST(Helper, identity_comes_from_the_configuration)
{
    nyx::AConfigurator conf("", false);
    conf.config.readString("General = { vos_id = \"node-7\"; quiet_node = true; };");
    nyx::TheConfigurator::set_configurator(&conf);
    EXPECT_EQ(Helper::get_my_id(true), "node-7");
    EXPECT_THROW(Helper::get_external_ip(true), std::runtime_error);
    EXPECT_TRUE(Helper::is_kln());
    nyx::TheConfigurator::set_configurator(nullptr);
}

TEST(RunCommand, results)
{
    std::string output;
    EXPECT_EQ(Helper::run_cmd("printf 'one\\ntwo\\n'; echo hidden >&2"), "one\ntwo\n");
    EXPECT_EQ(Helper::run_cmd_stderr("echo out; echo err >&2; exit 3", output), 3);
    EXPECT_EQ(output, "out\nerr\n");
    EXPECT_EQ(Helper::run_cmd_stderr("kill -9 $$", output), 128 + 9);
    EXPECT_EQ(Helper::run_cmd_stderr("/nonexistent", output), 127);
    EXPECT_EQ(Helper::run_cmd("head -c 200000 /dev/zero").size(), 200000U);
}

TEST(RunCommand, child_starts_clean)
{
    std::signal(SIGUSR2, SIG_IGN);
    const int leaked = ::dup(2);
    EXPECT_EQ(Helper::run_cmd("ls /proc/self/fd | wc -l"), "4\n") << "0, 1, 2 and ls's own";
    const auto ignored = Helper::run_cmd("awk '/SigIgn/ {print $2}' /proc/self/status");
    EXPECT_EQ(std::stoull(ignored, nullptr, 16) & (1ULL << (SIGUSR2 - 1)), 0U) << ignored;
    ::close(leaked);
    std::signal(SIGUSR2, SIG_DFL);
}

TEST(RunCommand, what_runs_too_long_or_says_too_much_is_killed)
{
    CapturedLog log;
    std::string output;
    const auto start = std::chrono::steady_clock::now();
    auto last_call = start;
    std::chrono::steady_clock::duration longest_pause{};
    const platform::WorkWhileWaiting work([&] {
        const auto before = std::exchange(last_call, std::chrono::steady_clock::now());
        longest_pause = std::max(longest_pause, last_call - before);
    });
    EXPECT_EQ(Helper::run_cmd_stderr("sleep 60 & echo started; exec sleep 60", output), 128 + 9);
    EXPECT_EQ(output, "started\n");
    EXPECT_EQ(Helper::run_cmd_stderr("exec cat /dev/zero", output), 128 + 9);
    EXPECT_LT(longest_pause, std::chrono::seconds(1)) << "heartbeats go on meanwhile";
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(9));
    EXPECT_EQ(log.count("run_command: killed"), 2);
    EXPECT_EQ(::waitpid(-1, nullptr, WNOHANG), -1) << "no child is left";
}

} // namespace
