#include "text/words.h"

#include <gtest/gtest.h>

#include <cstdint>

using namespace text;

TEST(Words, lines_and_numbers)
{
    std::string_view words = "  a\tbb \nlast";
    EXPECT_EQ(next_word(words), "a");
    EXPECT_EQ(next_line(words), "\tbb ");
    EXPECT_EQ(next_line(words), "last");
    EXPECT_EQ(next_line(words), std::nullopt);
    EXPECT_EQ(next_word(words), "");
    EXPECT_EQ(to_number<std::uint64_t>("18446744073709551615"), ~std::uint64_t{0});
    for (const char* bad : {"", "-1", "1x", "18446744073709551616", " 1"})
        EXPECT_EQ(to_number<std::uint64_t>(bad), std::nullopt) << bad;
}
