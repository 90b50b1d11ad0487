#include "platform/file/text_file.h"

#include <gtest/gtest.h>

TEST(TextFile, is_read_whole_unless_it_has_no_end)
{
    EXPECT_FALSE(platform::read_text_file("/nonexistent"));
    EXPECT_FALSE(platform::read_text_file("/dev/zero")) << "endless";
    EXPECT_TRUE(platform::read_text_file("/proc/self/status")->starts_with("Name:"));
}
