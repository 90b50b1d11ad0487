// How vosctl ends.
#pragma once

namespace vosctl {

enum : int { exit_done = 0, exit_failed = 1, exit_usage = 2, exit_no_supervisor = 3 };

} // namespace vosctl
