// vosctl: the operator's command.
#include "common/nyx_configurator.h"
#include "platform/file/standard_descriptors.h"
#include "utils/dual_nyx_helper.h"
#include "vosctl/support/lock_holder.h"
#include "vosctl/verbs/command_line.h"
#include "vosctl/verbs/help.h"
#include "vosctl/verbs/verb_table.h"

#include <exception>
#include <iostream>

namespace {

using namespace vosctl;

int fail_usage(const std::string& why)
{
    std::cerr << "vosctl: " << why << "; try vosctl --help\n";
    return exit_usage;
}

int run_verb(const Verb& verb, const CommandLine& line)
{
    try {
        return verb.run(line);
    } catch (const UsageError& error) {
        std::cerr << usage_error_text(verb, error) << '\n';
        return exit_usage;
    } catch (const nyx::FileLockFailure& error) {
        std::cerr << "vosctl " << verb.name << ": " << error.what() << ": "
                  << lock_holder_text(line.config + ".lock") << '\n';
        return exit_failed;
    }
}

int run(const std::vector<std::string>& arguments)
{
    const auto line = parse_command_line(arguments);
    if (!line)
        return fail_usage(line.reason());
    const auto* verb = find_verb(line->verb);
    if (line->help) {
        std::cout << (verb == nullptr ? help_text() : help_text(*verb));
        return exit_done;
    }
    if (line->version) {
        std::cout << "vosctl " << nyx_utils::DualNYXHelper::get_nyx_version_num() << '\n';
        return exit_done;
    }
    if (line->verb.empty())
        return fail_usage("no verb");
    if (verb == nullptr)
        return fail_usage("unknown verb " + line->verb);
    return run_verb(*verb, *line);
}

} // namespace

int main(int argc, char** argv)
{
    platform::open_standard_descriptors();
    try {
        return run({argv + 1, argv + argc});
    } catch (const std::exception& error) {
        std::cerr << "vosctl: " << nyx::configuration_error_text(error) << '\n';
        return exit_failed;
    }
}
