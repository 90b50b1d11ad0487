// One fuzz target: a program links one definition of fuzz_one() with one main.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

/// Feeds `input` to a parser. Whatever it is, nothing may crash or throw, and
/// what holds for every input is checked with REQUIRE.
void fuzz_one(std::string_view input);

/// Ends the program when `condition` does not hold, in every build.
#define REQUIRE(condition)                                                                         \
    if (!(condition)) {                                                                            \
        std::fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition);        \
        std::abort();                                                                              \
    }
