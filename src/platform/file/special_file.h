// Writing to what is no regular file: a device, or a pipe with a name.
#pragma once

#include <string>
#include <string_view>

namespace platform {

/// Writes `content` to the device or pipe at `path` as it is, without a wait of
/// more than a second. 0 or an errno; a pipe that nobody reads, or no longer,
/// takes nothing and is no error. Raises no SIGPIPE.
int write_special_file(const std::string& path, std::string_view content);

} // namespace platform
