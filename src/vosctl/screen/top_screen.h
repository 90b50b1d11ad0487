// The node at a glance, as text. Pure: no clock, no terminal, no file.
#pragma once

#include "platform/variant/variant.h"
#include "vosctl/screen/screen_line.h"

#include <ctime>
#include <string>
#include <vector>

namespace vosctl {

/// The lines of the screen: no more than the height, none wider than the width,
/// and no control characters but those of colours. `document` is a health
/// report; `status` is the supervisor's answer, null when there is none. What
/// is missing in either shows as "-".
std::vector<std::string> render_top(const libvariant::Variant& document,
                                    const libvariant::Variant& status, std::time_t now,
                                    const ScreenStyle& style);

} // namespace vosctl
