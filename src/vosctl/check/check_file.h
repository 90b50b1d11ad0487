// Everything that is wrong with one configuration file.
#pragma once

#include "vosctl/check/finding.h"

#include <string>

namespace vosctl {

/// Reads and checks the file at `path`, and the files that it names; relative
/// paths in it are relative to the working directory. A file that can not be read
/// or parsed has that one finding.
Findings check_file(const std::string& path);

/// check_file() in the directory of `path`, which is that of a daemon that reads
/// it: changes the working directory for good.
Findings check_file_in_its_directory(const std::string& path);

} // namespace vosctl
