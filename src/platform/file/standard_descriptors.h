// Standard input, output and error of a program that may be started without.
#pragma once

#include <string_view>

namespace platform {

/// Opens /dev/null on each of the descriptors 0 to 2 that is closed. Otherwise
/// the next file or socket would become standard output. To be called first
/// thing in main.
void open_standard_descriptors();

/// Writes `text` to standard error without ever waiting for it: what a pipe that
/// nobody empties does not take, or one whose reader is gone, is dropped.
void write_standard_error(std::string_view text);

} // namespace platform
