// Settings on standard output, a line each.
#pragma once

#include <string>
#include <vector>

namespace vosctl {

/// Prints `lines`; gives the exit status, which is that of a failure when
/// standard output can not be written.
int print_lines(const std::vector<std::string>& lines);

} // namespace vosctl
