// What a support case needs of this node, without secrets.
#pragma once

#include <string>

namespace vosctl {

/// Version, configuration, status, last report and the end of each log, a
/// section each. What can not be had is named in its section. Reads the
/// configuration `config_file`, the files that it names and the key file, and
/// asks the supervisor. Secrets are taken out of all of it.
std::string collect_bundle(const std::string& config_file);

} // namespace vosctl
