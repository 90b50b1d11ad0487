// What --help prints.
#pragma once

#include "vosctl/verbs/verb.h"

#include <string>

namespace vosctl {

/// Of vosctl: its options, its verbs and its exit statuses.
std::string help_text();

/// Of one verb.
std::string help_text(const Verb& verb);

} // namespace vosctl
