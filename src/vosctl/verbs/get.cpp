#include "common/nyx_configurator.h"
#include "vosctl/verbs/print_lines.h"
#include "vosctl/verbs/verbs.h"

#include <iostream>
#include <vector>

namespace vosctl {

int get(const CommandLine& line)
{
    if (line.arguments.size() != 1) {
        std::cerr << "usage: vosctl get PATH\n";
        return exit_usage;
    }
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

} // namespace vosctl
