#include "procfs/pid_children.h"

#include "text/words.h"

namespace procfs {

std::vector<int> parse_children(std::string_view text)
{
    std::vector<int> children;
    while (const auto child = text::next_number<int>(text))
        children.push_back(*child);
    return children;
}

} // namespace procfs
