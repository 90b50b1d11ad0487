// How far one word is from another.
#pragma once

#include <cstddef>
#include <string_view>

namespace text {

/// Levenshtein's distance: how many letters of `a` have to be put in, left out or
/// exchanged to make `b` of it. Takes time in proportion to both lengths. Pure.
std::size_t edit_distance(std::string_view a, std::string_view b);

} // namespace text
