#include "platform/process/process_line.h"

#include <gtest/gtest.h>

TEST(ProcessLine, has_a_number_and_a_name)
{
    using Line = std::pair<int, std::string>;
    EXPECT_EQ(platform::parse_process_line("12 tmux: server"), Line(12, "tmux:"));
    EXPECT_EQ(platform::parse_process_line("12 \xff\x01"), Line(12, "\xff\x01"));
    for (const char* line : {"", "name", "12    ", "99999999999 x"})
        EXPECT_EQ(platform::parse_process_line(line), std::nullopt) << line;
}
