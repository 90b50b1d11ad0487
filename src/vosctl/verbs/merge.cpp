#include "common/nyx_configurator.h"
#include "vosctl/verbs/verbs.h"

#include <algorithm>
#include <iostream>

namespace vosctl {

int merge(const CommandLine& line)
{
    const auto& files = line.arguments;
    if (files.size() != 3 || std::any_of(files.begin(), files.end(), [](const auto& file) {
            return file.empty() || file.starts_with("--");
        })) {
        std::cerr << "vosctl merge: takes three files: TEMPLATE CURRENT OUTPUT\n";
        return exit_usage;
    }
    nyx::MergeReport report;
    if (!nyx::TheConfigurator::smart_merge(files[0], files[1], files[2], &report)) {
        std::cerr << "vosctl merge: " << report.failure << '\n';
        return exit_failed;
    }
    for (const auto& remark : report.remarks)
        std::cerr << "vosctl merge: " << files[1] << ": " << remark << '\n';
    return exit_done;
}

} // namespace vosctl
