// Collects the body of a response, or discards it.
#pragma once

#include <cstddef>

namespace nyx {

/// No response is collected beyond this many bytes.
constexpr std::size_t largest_response = 64 * 1024 * 1024;

/// Appends `size` times `count` bytes to the std::string that `user` points to.
/// Returns their number; 0, which ends the transfer, when the string would
/// exceed largest_response or memory is short. libcurl's write function.
unsigned long write_callback(char* data, unsigned long size, unsigned long count,
                             void* user) noexcept;

/// libcurl's write function for a body that nobody wants: takes it, whatever its
/// length. libcurl's own would write it to standard output.
unsigned long discard_callback(char* data, unsigned long size, unsigned long count,
                               void* user) noexcept;

} // namespace nyx
