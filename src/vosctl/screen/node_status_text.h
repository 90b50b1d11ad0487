// What the daemon reports of itself, in words. Pure.
#pragma once

#include "utils/node_status.h"

#include <ctime>
#include <optional>
#include <string>

namespace vosctl {

/// "3 s ago" and the time, or that there was none.
std::string accepted_text(const nyx_utils::NodeStatus& node, std::time_t now);
/// "none", or how many failed in a row and why the last did.
std::string failures_text(const nyx_utils::NodeStatus& node);
/// "fresh, name servers 3".
std::string resolver_text(const nyx_utils::NodeStatus& node);
/// "29 days left", or why that is not known.
std::string certificate_text(const nyx_utils::NodeStatus& node, std::time_t now);
/// Whole days until the certificate ends, negative once it has; nothing when
/// unknown.
std::optional<std::time_t> certificate_days_left(const nyx_utils::NodeStatus& node,
                                                 std::time_t now);

} // namespace vosctl
