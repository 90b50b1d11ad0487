#include "config/source_text.h"

#include <gtest/gtest.h>

TEST(ConfigText, sets_one_value_and_keeps_the_rest)
{
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"a = 1; // one\n", "a", "a = 9; // one\n"},
        {"a : \"x\" /* ; */ \"y\\\"\"; b=2", "a", "a : 9; b=2"},
        {"g = { # }\n  a = 1;\n};\n", "g.a", "g = { # }\n  a = 9;\n};\n"},
        {"g = {\n    a = 1;\n};\n", "g.b", "g = {\n    a = 1;\n    b = 9;\n};\n"},
        {"g = { h = { a = 1 } }", "g.h.b", "g = { h = { a = 1 \n        b = 9;\n} }"},
        {"l = ( { a = 1; }, [ 2 ] ); a = 3", "a", "l = ( { a = 1; }, [ 2 ] ); a = 9"},
        {"// end", "g.a", "// end\ng = {\n    a = 9;\n};\n"},
        {"", "a", "a = 9;\n"},
        {"a = 1;", "a.b", "refused"},
        {"g = ( 1 );", "g.a", "refused"},
    };
    for (const auto& [text, path, want] : cases)
        EXPECT_EQ(nyx::ConfigText(text).with_value(path, "9").value_or("refused"), want);
    for (const char* text : {"\"", "a = \"\\", "a = {", "@include", "/*", "a = ((", "}", "a ="})
        nyx::ConfigText(text).with_value("a.b", "9"); // whatever it makes of it, it ends
}

TEST(ConfigText, numbers_that_libconfig_cuts_are_found)
{
    const std::pair<const char*, const char*> cases[] = {
        {"a = 2147483648; b = -2147483649; c = 0x80000000", "a1 b1 c1 "},
        {"g : { h = {\n a = +5000000000 } i = 1 };\nb = 5000000000", "g.h.a2 b3 "},
        {"l = ( 1, [ 5000000000 ], { a = 5000000000; } )", "l.[].[]1 l.[].a1 "},
        {"a = 9223372036854775808L; b = 0x10000000000000000LL", "a1 b1 "},
        {"a = 2147483647; b = -2147483648; c = -9223372036854775808L; d = 0xFFFFFFFFFFFFFFFFL;"
         "e = \"5000000000\"; f = 5000000000.0; g = 1e22; h = true; /* 5000000000 */ i = L;",
         ""},
    };
    for (const auto& [text, want] : cases) {
        std::string found;
        for (const auto& number : nyx::ConfigText(text).cut_numbers())
            found += number.path + std::to_string(number.line) + ' ';
        EXPECT_EQ(found, want);
    }
}
