// Standard input, output and error of a program that may be started without.
#pragma once

namespace platform {

/// Opens /dev/null on each of the descriptors 0 to 2 that is closed. Otherwise
/// the next file or socket would become standard output. To be called first
/// thing in main.
void open_standard_descriptors();

} // namespace platform
