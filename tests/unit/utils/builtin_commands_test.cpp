#include "common/nyx_configurator.h"
#include "support/temp_folder.h"
#include "utils/builtin_commands.h"
#include "utils/stat_line.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <charconv>
#include <functional>
#include <thread>

using namespace nyx_utils;

namespace {

/// What it answers with, or "program".
std::string told(const std::optional<CommandResult>& result)
{
    return result ? std::to_string(result->exit_code) + ":\n" + result->output : "program";
}

/// A process that sleeps under `name` when it has done `work`, as long as its parent lives.
pid_t spawn(
    const char* name, const std::function<void()>& work = [] {})
{
    int ready[2];
    EXPECT_EQ(::pipe(ready), 0);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::prctl(PR_SET_NAME, name);
        work();
        EXPECT_EQ(::write(ready[1], "", 1), 1);
        while (true)
            ::pause();
    }
    char none;
    EXPECT_EQ(::read(ready[0], &none, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
    return pid;
}

void end(pid_t pid)
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    ::kill(pid, SIGKILL);
    while (::waitpid(-1, nullptr, 0) > 0) {
    }
}

void spawn_chain(int length)
{
    if (length > 0)
        spawn("vosT-deep", [length] { spawn_chain(length - 1); });
}

void spawn_all_kinds()
{
    for (int i = 0; i < 40; ++i)
        spawn("vosT-wide");
    spawn("vosT-chain", [] { spawn_chain(15); });
    spawn("vosT-odd", [] {
        for (const char* name :
             {"", " ", " (vosT) ", ") S 1 2", "[vosT]", "a\\nb", "15-characters-x"})
            spawn(name);
    });
    for (const char* name : {"line\nfeed", "vosT\xc3\xa9", "vosT\xff", "\033[0m"})
        spawn("vosT-locale", [name] { spawn(name); });
    spawn("vosT-threads", [] {
        for (int i = 0; i < 3; ++i)
            std::thread([] { spawn("vosT-of-thread"), ::pause(); }).detach();
        ::usleep(100'000);
    });
    if (::fork() == 0)
        ::_exit(0); // a zombie
}

/// Compares the answers on `pid` and all below with the program's; how many of each said what a
/// program has to be run for.
void compare_tree(std::vector<BuiltinCommands>& all, pid_t pid, std::vector<int>& left,
                  int& visited)
{
    const auto command = "/usr/bin/pgrep -P " + std::to_string(pid) + " -l";
    const auto program = run_command(command, CommandOutput::with_errors);
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto builtin = all[i].answer(command);
        EXPECT_EQ(told(builtin ? builtin : program), told(program)) << command;
        left[i] += builtin ? 0 : 1;
    }
    std::istringstream lines(program.output);
    for (std::string line; std::getline(lines, line); ++visited)
        compare_tree(all, std::stoi(line), left, visited);
}

TEST(BuiltinCommands, answer_as_the_program_does)
{
    const pid_t root = spawn("vosT-root", spawn_all_kinds);
    TempFolder linked; // a /proc without children files: each process's folder
    for (const auto& entry : std::filesystem::directory_iterator("/proc"))
        if (std::isdigit(entry.path().filename().string()[0]))
            std::filesystem::create_symlink(entry.path(), linked.file(entry.path().filename()));
    std::vector<BuiltinCommands> all{BuiltinCommands("/proc"), BuiltinCommands(linked.path())};
    std::vector<int> left(all.size());
    int visited = 0;
    compare_tree(all, root, left, visited);
    EXPECT_EQ(left, (std::vector<int>{4, 4})) << "whose children's names depend on the locale";
    EXPECT_GE(visited, 70);
    for (const char* pattern : {"vosT", "vosT-deep", "T-th", "15-characters-x", "vosT-no-such"}) {
        const auto command = std::string("/usr/bin/pgrep ") + pattern;
        const auto program = told(run_command(command, CommandOutput::with_errors));
        for (auto& builtins : all)
            EXPECT_EQ(told(builtins.answer(command)), program) << command;
    }
    end(root);
    const auto gone = "/usr/bin/pgrep -P " + std::to_string(root) + " -l";
    EXPECT_EQ(told(all[0].answer(gone)), "1:\n");
    EXPECT_EQ(told(all[0].answer(tcp_pages_command)),
              told(run_command(tcp_pages_command, CommandOutput::with_errors)));
}

TEST(BuiltinCommands, children_that_come_and_go_hide_none_that_stays)
{
    BuiltinCommands builtins;
    std::string stay;
    const pid_t root = spawn("vosT-busy", [] {
        for (int i = 0; i < 30; ++i)
            spawn("vosT-stays");
        std::thread([] {
            while (true) {
                const pid_t child = ::fork();
                child == 0 ? ::_exit(0) : static_cast<void>(::waitpid(child, nullptr, 0));
            }
        }).detach();
    });
    int answered = 0;
    for (int i = 0; i < 500; ++i) {
        const auto result = builtins.answer("/usr/bin/pgrep -P " + std::to_string(root) + " -l")
                                .value_or(CommandResult{});
        std::size_t stays = 0;
        for (auto at = result.output.find("-stays"); at != std::string::npos;
             at = result.output.find("-stays", at + 1))
            ++stays;
        answered += stays == 30 ? 1 : 0;
        EXPECT_TRUE(stays == 30 || result.output.empty()) << result.output;
    }
    EXPECT_GT(answered, 0);
    end(root);
}

TEST(BuiltinCommands, a_name_is_read_again_when_its_process_has_run)
{
    BuiltinCommands builtins;
    const pid_t pid = spawn(
        "vosT-before", [] { ::signal(SIGUSR1, [](int) { ::prctl(PR_SET_NAME, "vosT-after"); }); });
    const auto found = std::to_string(pid) + "\n";
    EXPECT_EQ(builtins.answer("/usr/bin/pgrep vosT-before")->output, found);
    EXPECT_EQ(builtins.answer("/usr/bin/pgrep vosT-before")->output, found);
    ::kill(pid, SIGUSR1);
    for (int i = 0; i < 500 && builtins.answer("/usr/bin/pgrep vosT-after")->output != found; ++i)
        ::usleep(10'000);
    EXPECT_EQ(builtins.answer("/usr/bin/pgrep vosT-after")->output, found);
    builtins.processes().hold();
    EXPECT_EQ(builtins.answer("/usr/bin/pgrep vosT-after")->output, found);
    end(pid);
    EXPECT_EQ(builtins.answer("/usr/bin/pgrep vosT-after")->output, found) << "the pass is held";
    builtins.processes().release();
    EXPECT_EQ(builtins.answer("/usr/bin/pgrep vosT-after")->exit_code, 1);
}

TEST(BuiltinCommands, only_plain_commands_are_taken)
{
    for (const char* other : {"",
                              "/usr/bin/pgrep",
                              "/usr/bin/pgrep ",
                              "/usr/bin/pgrep -P 12",
                              "/usr/bin/pgrep -P 0 -l",
                              "/usr/bin/pgrep -P 012 -l",
                              "/usr/bin/pgrep -P -1 -l",
                              "/usr/bin/pgrep -P 4294967297 -l",
                              "/usr/bin/pgrep -P 12 -l ",
                              "/usr/bin/pgrep -P 1,2 -l",
                              "/usr/bin/pgrep -P  -l",
                              "/usr/bin/pgrep -l",
                              "/usr/bin/pgrep b.rd",
                              "/usr/bin/pgrep bird|pluto",
                              "/usr/bin/pgrep ^bird",
                              "/usr/bin/pgrep a b",
                              "/usr/bin/pgrep bird;id",
                              "/usr/bin/pgrep exactly15chars_x",
                              "/usr/bin/pgrep b\xc3\xa9",
                              "pgrep bird"})
        EXPECT_EQ(told(BuiltinCommands("/nonexistent").answer(other)), "program") << other;
    EXPECT_EQ(told(BuiltinCommands("/nonexistent").answer(tcp_pages_command)), "program");
    EXPECT_EQ(tcp_pages_text("TCP: 2 3 4 5 6 7 8 9 10 77 12\nUDP: 2\nTCP6: short\nTCP"),
              "77\n\n\n");
}

TEST(BuiltinCommands, the_configuration_switches_them_and_a_reload_counts)
{
    const TempFolder folder;
    const auto conf_of = [&](const char* value) {
        return folder.write("vos.conf",
                            std::string("Monitoring = { builtin_commands = ") + value + "; };");
    };
    nyx::AConfigurator conf(conf_of("true").c_str(), false);
    nyx::TheConfigurator::set_configurator(&conf);
    // The program, alone, is run by a shell that is a child too.
    const auto own = "/usr/bin/pgrep -P " + std::to_string(::getpid()) + " -l";
    EXPECT_EQ(run_command(own, CommandOutput::with_errors).exit_code, 1);
    conf_of("false");
    conf.reload_configuration();
    EXPECT_EQ(run_command(own, CommandOutput::with_errors).exit_code, 0);
    nyx::TheConfigurator::set_configurator(nullptr);
}

TEST(StatLine, takes_name_and_parent_or_nothing)
{
    const struct {
        const char* text;
        const char* want;
    } cases[] = {{"7 (sh) S 3 7", "sh,3"}, {"7 (a) b (c)\n) Z 12", "a) b (c)\n,12"},
                 {"7 () S 0 1", ",0"},     {"7 (x) S", "x,none"},
                 {"7 (x) S 1x", "x,none"}, {"", "no line"},
                 {"7 )x( S 1", "no line"}, {"7 (x S 1", "no line"}};
    for (const auto& row : cases) {
        const auto line = split_stat_line(row.text);
        const auto parent = line ? line->parent() : std::nullopt;
        EXPECT_EQ(line ? std::string(line->name) + "," + (parent ? std::to_string(*parent) : "none")
                       : "no line",
                  row.want);
    }
}

} // namespace
