// What the parts of the screen have in common: columns, labels and headings.
#pragma once

#include "vosctl/screen/screen_line.h"

#include <cstddef>
#include <string>
#include <vector>

namespace vosctl {

/// Lines of a screen, from top to bottom; none wider than its style's width.
using Lines = std::vector<std::string>;

constexpr std::size_t name_width = 16;     ///< first column of a table
constexpr std::size_t number_width = 8;    ///< a figure, to the right of its column
constexpr std::size_t small_bar_cells = 8; ///< the bar beside a figure of a table

/// A line that begins with `label`, in the column of labels.
ScreenLine labelled(const char* label, const ScreenStyle& style);

/// The heading of a table: its name, and "SHOWN/ALL" when rows are left out.
std::string table_heading(const char* name, std::size_t shown, std::size_t all);

} // namespace vosctl
