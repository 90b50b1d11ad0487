// vosctl: the operator's command.
#include "common/nyx_configurator.h"
#include "utils/dual_nyx_helper.h"
#include "utils/standard_descriptors.h"
#include "vosctl/command_line.h"
#include "vosctl/verbs.h"

#include <algorithm>
#include <exception>
#include <iomanip>
#include <iostream>

namespace {

using namespace vosctl;

struct Verb {
    const char* name;
    int (*run)(const CommandLine&);
    const char* summary;
};

constexpr Verb verbs[] = {
    {"status", status, "show how the daemon is; --json for programs"},
    {"reload", reload, "let the daemon read its configuration again"},
    {"stop", stop, "end the daemon; its supervisor starts it again"},
    {"terminate", terminate, "end the daemon and its supervisor; they stay down"},
    {"record", record, "show what the agent publishes in shared memory; --json for programs"},
    {"report", report, "measure this machine for --interval SECONDS (1), and print a report"},
    {"seal", seal, "read a secret from standard input and print its enciphered form"},
    {"merge", merge, "TEMPLATE CURRENT OUTPUT: bring a new configuration and the user's together"},
};

void print_usage(std::ostream& out)
{
    out << "usage: vosctl [--config FILE] VERB [ARGUMENT...]\n\n"
           "  --config FILE   the node's configuration (default: vos.conf in this folder)\n"
           "  --help          this text\n"
           "  --version       the version\n\nVerbs:\n";
    for (const auto& verb : verbs)
        out << "  " << std::left << std::setw(14) << verb.name << "  " << verb.summary << '\n';
    out << "\nExit status: 0 done (status: healthy), 1 failed (the daemon is not running or\n"
           "not well), 2 wrong usage, 3 no supervisor\n";
}

int fail_usage(const std::string& why)
{
    std::cerr << "vosctl: " << why << "; try vosctl --help\n";
    return exit_usage;
}

int run(const std::vector<std::string>& arguments)
{
    std::string failure;
    const auto line = parse_command_line(arguments, failure);
    if (!line)
        return fail_usage(failure);
    if (line->help) {
        print_usage(std::cout);
        return exit_done;
    }
    if (line->version) {
        std::cout << "vosctl " << nyx_utils::DualNYXHelper::get_nyx_version_num() << '\n';
        return exit_done;
    }
    if (line->verb.empty())
        return fail_usage("no verb");
    const auto* verb = std::find_if(std::begin(verbs), std::end(verbs),
                                    [&](const Verb& known) { return line->verb == known.name; });
    if (verb == std::end(verbs))
        return fail_usage("unknown verb " + line->verb);
    return verb->run(*line);
}

} // namespace

int main(int argc, char** argv)
{
    nyx_utils::open_standard_descriptors();
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::cerr << "vosctl: " << nyx::configuration_error_text(error) << '\n';
        return exit_failed;
    }
}
