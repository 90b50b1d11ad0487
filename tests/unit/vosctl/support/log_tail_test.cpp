#include "vosctl/support/log_tail.h"

#include <gtest/gtest.h>

using vosctl::last_lines;

TEST(LogTail, finds_the_last_lines)
{
    for (const char* whole : {"", "\n", "a", "a\nb\n", "b\nc"})
        EXPECT_EQ(last_lines(whole, 2), whole);
    for (const char* lines : {"b\nc\n", "b\nc", "\n\n", "\nb\n"})
        EXPECT_EQ(last_lines(std::string("\na\n") + lines, 2), lines);
    EXPECT_EQ(last_lines("\n\na\n", 1), "a\n");
    EXPECT_EQ(last_lines("a\nb\n", 0), "");
}
