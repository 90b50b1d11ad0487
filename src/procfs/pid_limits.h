// /proc/<pid>/limits: the resources that a process may use. Pure.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

namespace procfs {

/// The hard limit of "Max open files" in /proc/<pid>/limits. Nothing when
/// there is no such line; 0 when its hard limit is no 32-bit number, for
/// instance "unlimited".
std::optional<std::int32_t> parse_fd_limit(std::string_view text);

} // namespace procfs
