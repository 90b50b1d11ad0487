#include "text/quantities.h"

#include <gtest/gtest.h>

#include <limits>

TEST(Quantities, fit_in_few_letters)
{
    const double none = std::numeric_limits<double>::quiet_NaN();
    const std::pair<double, const char*> decimals[] = {
        {-0.25, "-0.2"}, {999'999, "999999.0"}, {1e6, "-"}, {none, "-"}};
    for (const auto& [value, want] : decimals)
        EXPECT_EQ(text::decimal(value), want);
    const std::pair<double, const char*> numbers[] = {
        {0, "0 B"},         {999.4, "999 B"},  {999.6, "1.0 kB"}, {12'345, "12.3 kB"},
        {99'960, "100 kB"}, {2.5e9, "2.5 GB"}, {-1, "-"},         {none, "-"}};
    for (const auto& [value, want] : numbers)
        EXPECT_EQ(text::short_number(value, "B"), want);
    const std::pair<long long, const char*> times[] = {
        {-5, "0 s"}, {59, "59 s"}, {60, "1 min"}, {3600, "1 h 0 min"}, {90'061, "1 d 1 h"}};
    for (const auto& [seconds, want] : times)
        EXPECT_EQ(text::duration(seconds), want);
}
