#include "vosctl/verbs/verbs.h"

#include "vosctl/check/check_file.h"

#include <iostream>

namespace vosctl {

namespace {

int run(const CommandLine& line)
{
    if (line.arguments.size() > 1 ||
        (line.arguments.size() == 1 && line.arguments[0].starts_with('-')))
        throw UsageError{};
    const auto& file = line.arguments.empty() ? line.config : line.arguments[0];
    const auto findings = check_file_in_its_directory(file);
    print_findings(std::cout, std::cerr, file, findings);
    return has_finding(findings, Severity::warning) ? exit_failed : exit_done;
}

} // namespace

constinit const Verb check_verb{
    .name = "check",
    .arguments = "[FILE]",
    .summary = "list what is wrong with a configuration",
    .help = "Prints a line \"FILE: key: message\" for everything that is wrong with FILE (or\n"
            "the file of --config): syntax, unknown keys, other types, missing keys and what\n"
            "follows, values that hurt, files that can not be read or written. Relative\n"
            "paths in FILE are taken from its own folder, where the daemon reads it. The\n"
            "default key file and the client certificate are looked at once a secret is\n"
            "sealed. Warnings, which do not stop a reload, are marked; notes, which are no\n"
            "fault of the file, go to standard error. Ends with 0 when there are neither\n"
            "errors nor warnings, 1 when there are, 2 for wrong usage. Changes nothing.\n",
    .run = run,
};

} // namespace vosctl
