#include "common/nyx_configurator.h"
#include "vosctl/verbs/print_lines.h"
#include "vosctl/verbs/verbs.h"

#include <iostream>

namespace vosctl {

int list(const CommandLine& line)
{
    if (!line.arguments.empty()) {
        std::cerr << "vosctl list: takes no arguments\n";
        return exit_usage;
    }
    nyx::AConfigurator configurator(line.config.c_str(), false);
    std::vector<std::string> keys;
    configurator.list_all_keys(keys);
    return print_lines(keys);
}

} // namespace vosctl
