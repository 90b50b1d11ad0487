// /proc/<pid>/task/<tid>/children: the processes that a thread has started. Pure.
#pragma once

#include <string_view>
#include <vector>

namespace procfs {

/// The process ids in the text, in its order; what is no number ends it.
std::vector<int> parse_children(std::string_view text);

} // namespace procfs
