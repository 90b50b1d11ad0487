#include "procfs/file_nr.h"
#include "procfs/locks.h"
#include "procfs/meminfo.h"
#include "procfs/net_dev.h"
#include "procfs/net_sockstat.h"
#include "procfs/pid_children.h"
#include "procfs/pid_limits.h"
#include "procfs/pid_maps.h"
#include "procfs/pid_stat.h"
#include "procfs/pid_status.h"
#include "procfs/stat.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

using namespace procfs;

namespace {

constexpr auto none = std::nullopt;

std::string captured(const std::string& file)
{
    std::ostringstream text;
    text << std::ifstream(VOS_FIXTURES "/proc/two_cores/" + file).rdbuf();
    return text.str();
}

template <typename Want>
void expect_all(Want (*parse)(std::string_view),
                const std::vector<std::pair<std::string, Want>>& usable,
                const std::vector<std::string>& unusable)
{
    for (const auto& [text, want] : usable)
        EXPECT_TRUE(parse(text) == want) << text;
    for (const auto& text : unusable)
        EXPECT_TRUE(parse(text) == Want{}) << text;
}

TEST(Procfs, finds_process_ticks_behind_any_name)
{
    const std::string name = "1 ((sd-pam)) S 1 2 3 0 -1 4194304 5 6 7 8 ";
    expect_all(parse_process_ticks,
               {{captured("6204/stat"), {{18, 21}}}, // (tmux: server)
                {captured("6205/stat"), {{8, 11}}},  // ((a) b (c))
                {name + "14 15 16", {{14, 15}}}},
               {"", "1 (x)", "1 (tmux: server S 1 2 3", name + "14", name + "14 -15",
                name + "18446744073709551616 1"});
}

TEST(Procfs, finds_who_holds_a_file)
{
    const auto holders = parse_flock_holders("1: FLOCK  ADVISORY  WRITE 4549 fe:00:11062057 0 EOF\n"
                                             "2: POSIX  ADVISORY  WRITE 4380 fe:00:11062036 0 EOF\n"
                                             "4: FLOCK  ADVISORY  READ 4312 fe:00:11062036 0 EOF\n"
                                             "4: -> FLOCK  ADVISORY  WRITE 4 fe:00:11062036 0 EOF\n"
                                             "5: FLOCK  ADVISORY  READ 4377 fe:00:11062036 0 EOF\n"
                                             "6: FLOCK ADVISORY READ 0 fe:00:11062036 0 EOF\n"
                                             "7: FLOCK ADVISORY READ 8 00:fe:11062036 0 EOF\n"
                                             "8: FLOCK A R 9 fe:00\n9: FLOCK A R 9 fe::00:1\nFLOCK",
                                             {254, 0, 11062036});
    EXPECT_EQ(holders, (std::vector{4312, 4377}));
}

TEST(Procfs, reads_memory_but_not_from_the_name)
{
    expect_all(parse_process_memory,
               {{captured("6204/status"), {false, 10996}},
                {captured("6206/status"), {true, none}},
                {"Name:\tState: Z\nState:\tS\nVmRSS:\t 5 kB\n", {false, 5}}},
               {"", "State:", "State:\tS\nVmRSS:", "State:\tS\nVmRSS:\tmuch kB\n",
                "Name:\tVmRSS: 9\nState:\tR\n", captured("2/status")});
    expect_all(parse_system_ram,
               {{captured("meminfo"), {24684100, 24362224}},
                {"MemTotal: 1000 kB\nMemFree: 1 kB\n", {1000, none}},
                {"MemTotal: all\nMemAvailable: 7", {none, 7}}},
               {"", "XMemTotal: 3"});
}

TEST(Procfs, takes_hard_limit_and_saturates_file_numbers)
{
    const std::string line = "Max open files            1024";
    expect_all(parse_fd_limit,
               {{captured("2/limits"), 4096},
                {line + " unlimited files", 0},
                {line + " 4294967296 files", 0},
                {line, 0}},
               {"", "Max processes 1 2 processes\n"});
    expect_all(parse_file_numbers,
               {{captured("sys/fs/file-nr"), {{381, 2466190}}},
                {"992\t0\t9223372036854775807\n", {{992, 2147483647}}},
                {"2147483648 0 2147483647", {{2147483647, 2147483647}}}},
               {"", "1 2", "1 x 3", "-1 0 3"});
}

TEST(Procfs, counts_cores_and_columns)
{
    using Idle = std::optional<std::uint64_t>; // in a row; columns -1: no aggregate line
    const std::tuple<std::string, int, int, std::uint64_t, Idle> cases[] = {
        {captured("stat"), 2, 10, 508158, 488164},
        {"cpu0 1 2 3 4 5\ncpu  1 2 3 4 5 6 7 8 9 10\n", 1, 10, 55, none},
        {"cpu  1 2 3 4 5x 6\ncpu0 1\ncpu1 1", 2, 4, 10, 4},
        {"cpu  1 2 3", 0, 3, 6, none},
        {"intr 5\ncpu 1 2 3 4", 0, 4, 10, none},
        {"", 0, -1, 0, none},
    };
    for (const auto& [text, cores, columns, sum, idle] : cases) {
        const auto machine = parse_cpu_times(text);
        const auto times = machine.aggregate.value_or(CpuTimes{});
        EXPECT_EQ(machine.cores, cores) << text;
        EXPECT_EQ(machine.aggregate ? static_cast<int>(times.columns) : -1, columns) << text;
        EXPECT_EQ(times.sum(cpu_columns.size()), sum) << text;
        EXPECT_EQ(parse_idle_ticks(text), idle) << text;
    }
}

TEST(Procfs, splits_an_interface_line_or_names_the_broken_piece)
{
    EXPECT_EQ(*parse_interface_line("  a: 1 2 3 4 5 6 7 8 9 10 11 12 13"),
              (InterfaceCounters{"a", 1, 2, 3, 4, 9, 10, 11, 12}));
    const std::pair<const char*, std::vector<const char*>> broken[] = {
        {"tx info", {"a: 1 2 3 4 5 6 7 8 9 10 11", "a: 1 2 3 4 5 x 7 8 9 10 11 12"}},
        {"rx info", {"a:", "a: 1 2 -3 4 5 6 7 8 9 10 11 12", "a: 18446744073709551616 2 3 4"}},
        {"interface name", {":", "   "}}};
    for (const auto& [piece, lines] : broken)
        for (const auto* line : lines)
            EXPECT_EQ(parse_interface_line(line).reason(), piece) << line;
}

TEST(Procfs, finds_the_name_between_the_outermost_parentheses)
{
    EXPECT_EQ(split_stat_line("7 (a) b (c)\n) Z 12 7")->name, "a) b (c)\n");
    EXPECT_EQ(split_stat_line("7 (a) b (c)\n) Z 12 7")->parent(), 12);
    EXPECT_FALSE(split_stat_line("7 (x) S 1x")->parent() || split_stat_line("7 (x)")->parent());
    EXPECT_FALSE(split_stat_line("") || split_stat_line("7 )x( S 1") || split_stat_line("7 (x S"));
    EXPECT_EQ(parse_children("12 7 x 9"), (std::vector{12, 7}));
    EXPECT_EQ(tcp_pages_text("TCP: 2 3 4 5 6 7 8 9 10 77 12\nUDP: 2\nTCP6: x\nTCP"), "77\n\n\n");
}

TEST(Procfs, takes_text_that_nobody_writes_for_program_text)
{
    const struct {
        const char* line;
        std::optional<TextRange> want;
    } cases[] = {
        {"7f0000001000-7f0000003000 r-xp 00001000 08:01 7 /usr/lib/libx.so",
         TextRange{0x7f0000001000, 0x7f0000003000}},
        {"7f0000001000-7f0000003000 rwxp 00001000 08:01 7 /usr/lib/libx.so", {}},
        {"7f0000001000-7f0000003000 r--p 00001000 08:01 7 /usr/lib/libx.so", {}},
        {"7f0000001000-7f0000003000 r-xp 00000000 00:00 0 [vdso]", {}},
        {"7f0000001000-7f0000003000 r-xp 00000000 00:00 0", {}},
        {"7f0000003000-7f0000001000 r-xp 0 0 0 /x", {}},
        {"7f0000001000", {}},
        {"", {}},
    };
    for (const auto& row : cases)
        EXPECT_EQ(parse_text_range(row.line), row.want) << row.line;
}

} // namespace
