#include "vosctl/verbs/verbs.h"

#include "common/nyx_configurator.h"

#include <algorithm>
#include <iostream>

namespace vosctl {

namespace {

int run(const CommandLine& line)
{
    const auto& files = line.arguments;
    if (files.size() != 3 || std::any_of(files.begin(), files.end(), [](const auto& file) {
            return file.empty() || file.starts_with("--");
        }))
        throw UsageError{.reason = std::string("takes three files: ") + merge_verb.arguments};
    nyx::MergeReport report;
    if (!nyx::TheConfigurator::smart_merge(files[0], files[1], files[2], &report)) {
        std::cerr << "vosctl merge: " << report.failure << '\n';
        return exit_failed;
    }
    for (const auto& remark : report.remarks)
        std::cerr << "vosctl merge: " << files[1] << ": " << remark << '\n';
    return exit_done;
}

} // namespace

constinit const Verb merge_verb{
    .name = "merge",
    .arguments = "TEMPLATE CURRENT OUTPUT",
    .summary = "bring TEMPLATE, a new release's configuration, and CURRENT into OUTPUT",
    .help = "Writes TEMPLATE, a new release's configuration, with the values of CURRENT, the\n"
            "node's own, into OUTPUT. The inputs stay as they are.\n",
    .run = run,
};

} // namespace vosctl
