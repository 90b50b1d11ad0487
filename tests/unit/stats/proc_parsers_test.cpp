#include "stats/proc_parsers.h"

#include "fake_proc.h"
#include "platform/file/text_file.h"

#include <gtest/gtest.h>

namespace {

constexpr auto none = std::nullopt;

std::string captured(const std::string& file)
{
    return platform::read_text_file(captured_proc + "/" + file).value();
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

TEST(ProcParsers, finds_process_ticks_behind_any_name)
{
    const std::string name = "1 ((sd-pam)) S 1 2 3 0 -1 4194304 5 6 7 8 ";
    expect_all(parse_process_ticks,
               {{captured("6204/stat"), {{18, 21}}}, // (tmux: server)
                {captured("6205/stat"), {{8, 11}}},  // ((a) b (c))
                {name + "14 15 16", {{14, 15}}}},
               {"", "1 (x)", "1 (tmux: server S 1 2 3", name + "14", name + "14 -15",
                name + "18446744073709551616 1"});
}

TEST(ProcParsers, reads_memory_but_not_from_the_name)
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

TEST(ProcParsers, takes_hard_limit_saturates_file_numbers_and_reads_lists)
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
    expect_all(parse_process_line,
               {{"12 tmux: server", {{12, "tmux:"}}}, {"12 \xff\x01", {{12, "\xff\x01"}}}},
               {"", "name", "12    ", "99999999999 x"});
}

TEST(ProcParsers, counts_cores_and_columns)
{
    struct {
        std::string text;
        int cores, columns; ///< columns -1: no aggregate line
        std::uint64_t sum;
        std::optional<std::uint64_t> idle;
    } const cases[] = {
        {captured("stat"), 2, 10, 508158, 488164},
        {"cpu0 1 2 3 4 5\ncpu  1 2 3 4 5 6 7 8 9 10\n", 1, 10, 55, none},
        {"cpu  1 2 3 4 5x 6\ncpu0 1\ncpu1 1", 2, 4, 10, 4},
        {"cpu  1 2 3", 0, 3, 6, none},
        {"intr 5\ncpu 1 2 3 4", 0, 4, 10, none},
        {"", 0, -1, 0, none},
    };
    for (const auto& want : cases) {
        SCOPED_TRACE(want.text);
        const auto machine = parse_cpu_times(want.text);
        const auto times = machine.aggregate.value_or(CpuTimes{});
        EXPECT_EQ(machine.cores, want.cores);
        EXPECT_EQ(machine.aggregate ? static_cast<int>(times.columns) : -1, want.columns);
        EXPECT_EQ(times.sum(cpu_columns.size()), want.sum);
        EXPECT_EQ(parse_idle_ticks(want.text), want.idle);
    }
}

} // namespace
