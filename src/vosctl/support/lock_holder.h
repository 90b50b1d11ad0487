// Who holds a lock that could not be had.
#pragma once

#include <string>

namespace vosctl {

/// The programs that hold the lock file at `path`, out of /proc/locks, and the way
/// out; to follow "... could not be locked: ".
std::string lock_holder_text(const std::string& path);

} // namespace vosctl
