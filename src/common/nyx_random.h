// A random seed from the kernel.
#pragma once

namespace nyx {

/// Four random bytes from /dev/urandom as an int; from the getrandom system
/// call where that file can not be read.
int nyx_random();

} // namespace nyx
