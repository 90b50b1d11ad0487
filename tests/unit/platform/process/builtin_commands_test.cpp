#include "platform/process/builtin_commands.h"

#include "platform/process/program_runner.h"
#include "support/sleepers.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <algorithm>
#include <thread>

using namespace platform;

namespace {

std::string told(const std::optional<CommandResult>& result)
{
    return result ? std::to_string(result->exit_code) + ":" + result->output : "run the program";
}

std::string children_of(pid_t pid)
{
    return "/usr/bin/pgrep -P " + std::to_string(pid) + " -l";
}

void spawn_all_kinds(int depth)
{
    if (depth > 0) {
        spawn("vosT-deep", [depth] { spawn_all_kinds(depth - 1); });
        return;
    }
    for (int i = 0; i < 20; ++i)
        spawn("vosT-wide");
    for (const char* name : {"", " ", " (vosT) ", ") S 1 2", "[vosT]", "a\\nb", "15-characters-x"})
        spawn(name);
    for (const char* name : {"line\nfeed", "vosT\xc3\xa9", "vosT\xff", "\033[0m"})
        spawn("vosT-locale", [name] { spawn(name); });
    for (int i = 0; i < 3; ++i) // in an order of threads that is not that of the ids
        std::thread([i] {
            ::usleep(40'000U * static_cast<unsigned>(3 - i)), spawn("vosT-thread"), ::pause();
        }).detach();
    ::usleep(200'000);
    if (::fork() == 0)
        ::_exit(0); // a zombie
}

/// Compares what `all` say of `pid` and all below it with the program; counts what is left to it.
void compare_tree(std::vector<BuiltinCommands>& all, pid_t pid, std::vector<int>& left)
{
    const auto program = run_program(children_of(pid), CommandOutput::with_errors);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto builtin = all[i].answer(children_of(pid));
        EXPECT_TRUE(!builtin || told(builtin) == told(program)) << i << told(program);
        left[i] += builtin ? 0 : 1;
    }
    std::istringstream lines(program.output);
    for (std::string line; std::getline(lines, line);)
        compare_tree(all, std::stoi(line), left);
}

TEST(BuiltinCommands, answer_as_the_program_does)
{
    const pid_t root = spawn("vosT-root", [] { spawn_all_kinds(12); });
    TempFolder linked; // a /proc without children files: each process's folder
    for (const auto& entry : std::filesystem::directory_iterator("/proc"))
        if (std::isdigit(entry.path().filename().string()[0]))
            std::filesystem::create_symlink(entry.path(), linked.file(entry.path().filename()));
    std::vector<BuiltinCommands> all{BuiltinCommands("/proc"), BuiltinCommands(linked.path())};
    std::vector<int> left(all.size());
    compare_tree(all, root, left);
    EXPECT_EQ(left, (std::vector{4, 4})) << "how odd names are written depends on the locale";
    for (const std::string word : {"vosT", "T-th", "15-characters-x", "vosT-no-such"})
        for (auto& builtins : all)
            EXPECT_EQ(told(builtins.answer("/usr/bin/pgrep " + word)),
                      told(run_program("/usr/bin/pgrep " + word, CommandOutput::with_errors)));
    const auto processes = std::distance(std::filesystem::directory_iterator(linked.path()), {});
    for (const auto& proc : {std::string("/proc"), linked.path()}) {
        int turns = 1;
        for (ProcessTable table(proc); !table.prepare(static_cast<std::size_t>(processes) / 4 + 1);)
            ++turns;
        EXPECT_NEAR(turns, 4, 2) << "a quarter more each time";
    }
    std::jthread([&] { EXPECT_EQ(told(all[0].answer(children_of(::gettid()))), "1:"); });
    end(root);
    EXPECT_EQ(told(all[0].answer(children_of(root))), "1:");
    EXPECT_EQ(told(all[0].answer(tcp_pages_command)),
              told(run_program(tcp_pages_command, CommandOutput::with_errors)));
}

TEST(BuiltinCommands, what_can_not_be_read_is_left_to_the_program)
{
    const pid_t child = spawn("vosT-child");
    BuiltinCommands builtins;
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    for (const auto limit : {rlim_t{0}, before.rlim_cur}) {
        const rlimit now{limit, before.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &now);
        for (const auto& command :
             {children_of(::getpid()), std::string("/usr/bin/pgrep vosT-none")})
            EXPECT_EQ(builtins.answer(command).has_value(), limit > 0) << command;
    }
    end(child);
}

TEST(BuiltinCommands, children_that_come_and_go_hide_none_that_stays)
{
    const pid_t root = spawn("vosT-churn", [] {
        for (int i = 0; i < 30; ++i)
            spawn("vosT-stays");
        std::thread([] {
            for (pid_t child = 1; child != 0; ::waitpid(child, nullptr, 0))
                child = ::fork();
            ::_exit(0);
        }).detach();
    });
    for (int i = 0; i < 300; ++i) {
        const auto text = told(BuiltinCommands().answer(children_of(root)));
        EXPECT_TRUE(text == "run the program" || std::ranges::count(text, 'y') == 30) << text;
    }
    end(root);
}

TEST(BuiltinCommands, names_are_kept_only_while_they_hold)
{
    BuiltinCommands builtins;
    const pid_t pid = spawn(
        "vosT-before", [] { ::signal(SIGUSR1, [](int) { ::prctl(PR_SET_NAME, "vosT-after"); }); });
    const auto found = "0:" + std::to_string(pid) + "\n";
    const auto find = [&](const char* word) {
        return told(builtins.answer(std::string("/usr/bin/pgrep ") + word));
    };
    EXPECT_EQ(find("vosT-before"), found);
    ::kill(pid, SIGUSR1);
    for (int i = 0; i < 500 && find("vosT-after") != found; ++i)
        ::usleep(10'000);
    builtins.processes().hold();
    EXPECT_EQ(find("vosT-after"), found);
    end(pid);
    EXPECT_EQ(find("vosT-after"), found) << "the same pass";
    builtins.processes().release();
    EXPECT_EQ(find("vosT-after"), "1:");
}

TEST(BuiltinCommands, only_plain_commands_are_taken)
{
    for (const char* rest : {"", "-P 12", "-P 0 -l", "-P 012 -l", "-P -1 -l", "-P 4294967297 -l",
                             "-P 12 -l ", "-P 1,2 -l", "-P  -l", "-l", "b.rd", "bird|pluto",
                             "^bird", "a b", "bird;id", "exactly15chars_x", "b\xc3\xa9"})
        EXPECT_EQ(told(BuiltinCommands().answer(std::string("/usr/bin/pgrep ") + rest)),
                  "run the program");
}

} // namespace
