// The files that a configuration names, as this machine has them.
#pragma once

#include "vosctl/check/finding.h"

#include <libconfig.h++>

namespace vosctl {

/// The value of General.hmac_secret in the example: no secret is sealed yet.
constexpr const char* unsealed_secret = "v1:replace-this-by-the-output-of-vosctl-seal";

/// Findings about files: key file, secret, client certificate, log settings
/// with their log files, local report, and the name servers that there are for
/// the server's name. Relative paths are relative to the
/// working directory. Creates and changes nothing.
///
/// What only sending needs and the configuration does not name, the default
/// key file and the client certificate, is looked at once a secret is sealed.
Findings probe_files(const libconfig::Config& config);

} // namespace vosctl
