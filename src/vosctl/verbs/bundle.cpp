#include "vosctl/verbs/verbs.h"

#include "platform/file/atomic_file.h"
#include "vosctl/support/bundle.h"

#include <iostream>

namespace vosctl {

namespace {

int run(const CommandLine& line)
{
    if (line.arguments.size() != 1 || line.arguments[0].starts_with('-'))
        throw UsageError{};
    platform::create_private_file(line.arguments[0], collect_bundle(line.config));
    std::cout << "wrote " << line.arguments[0] << "; look through it before you send it\n";
    return exit_done;
}

} // namespace

constinit const Verb bundle_verb{
    .name = "bundle",
    .arguments = "FILE",
    .summary = "collect what a support case needs in a new FILE, without secrets",
    .help = "Writes a new text FILE, mode 0600, with what a support case needs: version,\n"
            "configuration without secrets, status, the last report and the last 1,000 lines\n"
            "of each log file. The secret, its enciphered form and the key are taken out of\n"
            "all of it. What can not be had is named. An existing FILE is refused.\n",
    .run = run,
};

} // namespace vosctl
