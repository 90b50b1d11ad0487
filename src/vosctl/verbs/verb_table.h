// The table of verbs, which the command line, the help, the completion and the
// manual page go by.
#pragma once

#include "vosctl/verbs/verb.h"

#include <span>
#include <string_view>

namespace vosctl {

/// Every verb, in the order in which the help shows them.
std::span<const Verb* const> verb_table();

/// The verb of that name; null when there is none.
const Verb* find_verb(std::string_view name);

} // namespace vosctl
