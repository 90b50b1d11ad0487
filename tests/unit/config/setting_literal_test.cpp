#include "config/setting_literal.h"

#include <gtest/gtest.h>

TEST(SettingLiteral, has_the_type_that_it_looks_like_or_does_not_fit)
{
    using namespace vosctl;
    using enum libconfig::Setting::Type;
    const std::pair<const char*, const char*> cases[] = {
        {"-5", "-5"},
        {"5000000000", "5000000000L"},
        {"false", "false"},
        {"1e5", "1e5"},
        {"nan", "\"nan\""},
        {"", "\"\""},
        {"a\"\\\n", "\"a\\\"\\\\\\x0a\""},
    };
    for (const auto& [value, want] : cases)
        EXPECT_EQ(literal_of(value, type_of(value)), want);
    EXPECT_EQ(literal_of("2", TypeFloat), "2.0");
    for (const char* value : {"5000000000", "5x", "", "1.5", "true"})
        EXPECT_EQ(literal_of(value, TypeInt), std::nullopt) << value;
    EXPECT_EQ(literal_of("1", TypeBoolean), std::nullopt);
    EXPECT_EQ(literal_of("{}", TypeGroup), std::nullopt);
}
