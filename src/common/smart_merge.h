// Reading the files of a merge.
#pragma once

#include "text/result.h"

#include <libconfig.h++>

#include <string>

namespace nyx {

/// Reads the file at `path` into `config`. Fails, with one log record too, when
/// it is not a regular file, longer than 256 KiB (the time libconfig takes for a
/// group grows with the square of it), not libconfig syntax, or has an @include,
/// whose settings a merge would move to another file.
text::Outcome open_cfg_file(const std::string& path, libconfig::Config& config);

} // namespace nyx
