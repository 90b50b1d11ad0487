// The settings of a configuration against the table of known keys. Pure.
#pragma once

#include "vosctl/check/finding.h"

#include <libconfig.h++>

#include <string>

namespace vosctl {

/// Unknown keys, other types, missing keys, and values that hurt.
Findings check_tree(const libconfig::Config& config);

/// What the tree does not show but its source text does: numbers that do not
/// fit 32 bits, of which libconfig keeps the lower ones.
Findings check_numbers(const std::string& text);

} // namespace vosctl
