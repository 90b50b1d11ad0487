// The end of the daemon's log.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vosctl {

/// The last `count` lines of `text`; a line need not end. Pure.
std::string_view last_lines(std::string_view text, std::size_t count);

/// The last `count` lines of the file at `path`, or as many whole ones as its
/// last 4 MiB hold. Throws std::runtime_error with the path and the reason when
/// it is no regular file that can be read.
std::string read_last_lines(const std::string& path, std::size_t count);

} // namespace vosctl
