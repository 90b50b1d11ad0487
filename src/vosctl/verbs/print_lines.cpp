#include "vosctl/verbs/print_lines.h"

#include "vosctl/verbs/exit_status.h"

#include <iostream>

namespace vosctl {

int print_lines(const std::vector<std::string>& lines)
{
    for (const auto& line : lines)
        std::cout << line << '\n';
    return std::cout.flush() ? exit_done : exit_failed;
}

} // namespace vosctl
