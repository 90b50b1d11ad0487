// What a configuration file includes, before libconfig sees it.
#pragma once

#include <string>

namespace nyx {

/// Why the configuration `text` can not be handed to libconfig, which ends the
/// whole process when it is given a folder to include; empty when it can.
/// Follows included files as deep as libconfig does; one that can not be read
/// is left for libconfig to tell of.
std::string include_obstacle(const std::string& text);

/// The same of the file at `path`.
std::string include_obstacle_of_file(const std::string& path);

} // namespace nyx
