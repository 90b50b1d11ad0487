#include "platform/memprof/startup_pages.h"

#include <gtest/gtest.h>

TEST(StartupPages, only_text_that_nobody_writes_is_given_back)
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
    EXPECT_GT(release_startup_pages(), 0U);
}
