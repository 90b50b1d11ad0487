#include "vosctl/verbs/verbs.h"

#include "common/nyx_configurator.h"
#include "vosctl/verbs/print_lines.h"

#include <vector>

namespace vosctl {

namespace {

int run(const CommandLine& line)
{
    refuse_arguments(line);
    nyx::AConfigurator configurator(line.config.c_str(), false);
    std::vector<std::string> keys;
    configurator.list_all_keys(keys);
    return print_lines(keys);
}

} // namespace

constinit const Verb list_verb{
    .name = "list",
    .arguments = "",
    .summary = "print every setting, PATH=VALUE",
    .help = "Prints every setting, PATH=VALUE, a line each.\n",
    .run = run,
};

} // namespace vosctl
