// Writing a whole content to an open descriptor.
#pragma once

#include <string_view>

namespace platform {

/// Writes all of `content` to `fd`; 0, or the errno of the write that failed. A
/// descriptor that does not block is waited for, a second in all: then EAGAIN.
/// Async-signal-safe.
int write_all(int fd, std::string_view content);

} // namespace platform
