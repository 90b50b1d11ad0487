#include "platform/variant/variant.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>

using libvariant::Variant;

TEST(WriteJson, numbers_and_texts)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const Variant ten{{"precision", 10}};
    const std::tuple<Variant, Variant, const char*> cases[] = {
        {1.0 / 3, ten, "0.3333333333"},
        {1.0 / 3, Variant::object(), "0.3333333333333333"},
        {2.0 / 3e7, ten, "6.666666667e-08"},
        {123456789012.5, ten, "123456789000.0"},
        {0.1, ten, "0.1"},
        {-0.0, ten, "-0.0"},
        {18446744073709551615U, ten, "18446744073709551615"},
        {Variant::array({std::nan(""), infinity, -infinity}), ten, "[null,null,null]"},
        {Variant{{"b", 1}, {"a", 2}}, Variant::object(), R"({"a":2,"b":1})"},
        {"\xff\"\n", Variant::object(), "\"\xEF\xBF\xBD\\\"\\n\""},
        {Variant{{"a", {1}}}, Variant{{"pretty", true}}, "{\n  \"a\": [\n    1\n  ]\n}"},
        {Variant::object(), Variant{{"pretty", true}}, "{}"},
    };
    for (const auto& [value, options, want] : cases)
        EXPECT_EQ(libvariant::write_json(value, options), want);
}

TEST(ReadJson, malformed_text_throws)
{
    EXPECT_EQ(libvariant::read_json(R"({"zone": 7})")["zone"], 7);
    for (const char* text : {"", "{", "{\"a\":}", "nonsense"})
        EXPECT_THROW(libvariant::read_json(text), std::runtime_error) << text;
}
