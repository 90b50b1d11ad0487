// /proc/net/sockstat: what the sockets of the machine hold. Pure.
#pragma once

#include <string>
#include <string_view>

namespace procfs {

/// The eleventh word of each line that names TCP, a line each: of the line
/// "TCP:", the pages of memory; an empty line for a line with fewer words.
std::string tcp_pages_text(std::string_view sockstat);

} // namespace procfs
