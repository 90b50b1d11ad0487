// What a configuration file includes, before libconfig sees it.
#pragma once

#include "text/result.h"

#include <string>

namespace nyx {

/// Whether the configuration `text` can be handed to libconfig, which ends the
/// whole process when it is given a directory to include. Follows included
/// files as deep as libconfig does, and ends where one lies deeper: libconfig is
/// left to refuse it, and to report one that can not be read.
text::Outcome check_includes(const std::string& text);

/// The same of the file at `path`.
text::Outcome check_includes_of_file(const std::string& path);

} // namespace nyx
