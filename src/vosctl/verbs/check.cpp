#include "vosctl/check/check_file.h"
#include "vosctl/verbs/verbs.h"

#include <iostream>

namespace vosctl {

int check(const CommandLine& line)
{
    if (line.arguments.size() > 1 ||
        (line.arguments.size() == 1 && line.arguments[0].starts_with('-'))) {
        std::cerr << "usage: vosctl check [FILE]\n";
        return exit_usage;
    }
    const auto& file = line.arguments.empty() ? line.config : line.arguments[0];
    const auto findings = check_file_in_its_folder(file);
    print_findings(std::cout, std::cerr, file, findings);
    return has_finding(findings, Severity::warning) ? exit_failed : exit_done;
}

} // namespace vosctl
