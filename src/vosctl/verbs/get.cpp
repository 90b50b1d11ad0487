#include "vosctl/verbs/verbs.h"

#include "common/nyx_configurator.h"
#include "vosctl/verbs/print_lines.h"

#include <iostream>
#include <vector>

namespace vosctl {

namespace {

int run(const CommandLine& line)
{
    if (line.arguments.size() != 1)
        throw UsageError{};
    nyx::AConfigurator configurator(line.config.c_str(), false);
    const auto& path = line.arguments[0];
    auto* const setting = configurator.find_setting(path);
    if (setting == nullptr) {
        std::cerr << "vosctl get: " << line.config << " has no " << path << '\n';
        return exit_failed;
    }
    std::vector<std::string> keys;
    nyx::AConfigurator::list_setting_keys(*setting, keys);
    if (!setting->isAggregate())
        keys.at(0).erase(0, setting->getPath().size() + 1);
    return print_lines(keys);
}

} // namespace

constinit const Verb get_verb{
    .name = "get",
    .arguments = "PATH",
    .summary = "print a setting",
    .help = "Prints the value at a dotted path (\"General.vos_id\"), a text without quotes;\n"
            "of a group, a list or an array PATH=VALUE for all that is in it, a line each.\n",
    .run = run,
};

} // namespace vosctl
