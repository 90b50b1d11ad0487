// Whether a path leads to a regular file.
#pragma once

#include "text/result.h"

#include <sys/stat.h>

#include <string>

namespace platform {

/// What the system knows of the regular file at `path`, links followed; or why
/// there is none. To be asked before a library opens what an operator names:
/// some wait for ever at a pipe, or end the process at a directory.
text::Result<struct stat> stat_regular_file(const std::string& path);

} // namespace platform
