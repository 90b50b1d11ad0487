// The lines of the commands that list processes. Pure.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace platform {

/// One line: a process id, then the first word of the name.
std::optional<std::pair<int, std::string>> parse_process_line(std::string_view line);

} // namespace platform
