// Reading the files of a merge.
#pragma once

#include <libconfig.h++>

#include <string>

namespace nyx {

/// Reads the file at `path` into `config`. False, one log record, and what is
/// wrong in `failure` when it can not be read: not a regular file, longer than
/// 256 KiB (the time libconfig takes for a group grows with the square of it), not libconfig
/// syntax, or with an @include, whose settings a merge would move to another
/// file.
bool open_cfg_file(const std::string& path, libconfig::Config& config, std::string& failure);

} // namespace nyx
