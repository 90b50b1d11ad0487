// How the daemon is, and what became of its reports, on the screen. Pure.
#pragma once

#include "platform/variant/variant.h"
#include "vosctl/screen/layout.h"

#include <ctime>

namespace vosctl {

/// `status` is the supervisor's answer; null when there is no supervisor, which
/// is then all that is said.
Lines daemon_lines(const libvariant::Variant& status, std::time_t now, const ScreenStyle& style);

} // namespace vosctl
