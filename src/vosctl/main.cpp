// vosctl: the operator's command.
#include "common/nyx_configurator.h"
#include "platform/file/standard_descriptors.h"
#include "utils/dual_nyx_helper.h"
#include "vosctl/verbs/command_line.h"
#include "vosctl/verbs/verbs.h"

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
    const char* help; ///< how it is called, and what the summary does not say
};

constexpr Verb verbs[] = {
    {"status", status, "show how the daemon is; --json for programs",
     "status [--json]\n\n"
     "Shows how the daemon is, as its supervisor sees it. Ends with 0 when it is\n"
     "healthy, 1 when it is not running or not well. The lines from \"last accepted\"\n"
     "on are what the daemon told after its last report.\n"},
    {"reload", reload, "let the daemon read its configuration again",
     "reload [--force]\n\n"
     "Checks the configuration as \"vosctl check\" does, then lets the daemon read it\n"
     "again. A file with errors is refused: of a broken file the daemon would keep\n"
     "one half, and an empty one it would take for a good one. Warnings do not stop\n"
     "a reload, and with --force nothing does. Without --config, and without a\n"
     "vos.conf in this folder, the file is the running daemon's.\n"},
    {"stop", stop, "end the daemon; its supervisor starts it again",
     "stop\n\nEnds the daemon; its supervisor starts it again.\n"},
    {"terminate", terminate, "end the daemon and its supervisor; they stay down",
     "terminate\n\nEnds the daemon and its supervisor; they stay down.\n"},
    {"top", top, "show the node at a glance, each second anew",
     "top [--once | -n COUNT]\n\n"
     "Shows the node at a glance on a terminal, measured anew each second by vosctl\n"
     "itself: CPU, RAM and files, the daemon and its last report, the monitored\n"
     "processes, the busiest first, and the interfaces. \"q\" or Ctrl-C ends it.\n"
     "Where the output is no terminal, or with a COUNT of blocks (--once: one), it is\n"
     "plain lines, a block a second. No colours with NO_COLOR set; ASCII bars where\n"
     "the locale is not UTF-8.\n"},
    {"bundle", bundle, "collect what a support case needs in a new FILE, without secrets",
     "bundle FILE\n\n"
     "Writes a new text FILE, mode 0600, with what a support case needs: version,\n"
     "configuration without secrets, status, the last report and the last 1,000 lines\n"
     "of each log file. The secret, its enciphered form and the key are taken out of\n"
     "all of it. What can not be had is named. An existing FILE is refused.\n"},
    {"record", record, "show what the agent publishes in shared memory; --json for programs",
     "record [--json] [--name NAME]\n\nShows what the agent publishes in shared memory.\n"},
    {"report", report, "measure this machine for --interval SECONDS (1), and print a report",
     "report [--interval SECONDS]\n\n"
     "Measures this machine, without a daemon, and prints one report as JSON; nothing\n"
     "is sent. Rates and shares are of the interval, 1 to 3600 seconds (1).\n"},
    {"merge", merge, "bring TEMPLATE, a new release's configuration, and CURRENT into OUTPUT",
     "merge TEMPLATE CURRENT OUTPUT\n\n"
     "Writes TEMPLATE, a new release's configuration, with the values of CURRENT, the\n"
     "node's own, into OUTPUT. The inputs stay as they are.\n"},
    {"seal", seal, "read a secret from standard input and print its enciphered form",
     "seal\n\n"
     "Reads a secret from standard input (one line end at its end is no part of it)\n"
     "and prints its enciphered form, for General.hmac_secret. Makes the key file\n"
     "that General.hmac_key_file names when there is none.\n"},
    {"check", check, "list what is wrong with a configuration",
     "check [FILE]\n\n"
     "Prints a line \"FILE: key: message\" for everything that is wrong with FILE (or\n"
     "the file of --config): syntax, unknown keys, other types, missing keys and what\n"
     "follows, values that hurt, files that can not be read or written. Relative\n"
     "paths in FILE are taken from its own folder, where the daemon reads it. The\n"
     "default key file and the client certificate are looked at once a secret is\n"
     "sealed. Warnings, which do not stop a reload, are marked; notes, which are no\n"
     "fault of the file, go to standard error. Ends with 0 when there are neither\n"
     "errors nor warnings, 1 when there are, 2 for wrong usage. Changes nothing.\n"},
    {"get", get, "print a setting",
     "get PATH\n\n"
     "Prints the value at a dotted path (\"General.vos_id\"), a text without quotes;\n"
     "of a group, a list or an array PATH=VALUE for all that is in it, a line each.\n"},
    {"list", list, "print every setting, PATH=VALUE",
     "list\n\nPrints every setting, PATH=VALUE, a line each.\n"},
    {"set", set, "change a setting in the file",
     "set PATH VALUE\n\n"
     "Puts VALUE at a dotted path of the file; groups that are missing are made. The\n"
     "rest of the file, comments too, its mode and its owner stay, and it is replaced\n"
     "as a whole, under its lock. A key that the node knows has its own type, another\n"
     "one the type that it has; a new one is a boolean, a number or a text, as VALUE\n"
     "looks. Refused: a value of another type or one that \"vosctl check\" calls an\n"
     "error, a file that does not parse, and what lies in a list, an array or an\n"
     "included file. The daemon follows at the next reload; what is read at start\n"
     "only counts after a restart.\n"},
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
           "not well; the configuration has faults), 2 wrong usage, 3 no supervisor\n"
           "\nvosctl VERB --help tells more about a verb.\n";
}

int fail_usage(const std::string& why)
{
    std::cerr << "vosctl: " << why << "; try vosctl --help\n";
    return exit_usage;
}

int run(const std::vector<std::string>& arguments)
{
    const auto line = parse_command_line(arguments);
    if (!line)
        return fail_usage(line.reason());
    const auto* verb = std::find_if(std::begin(verbs), std::end(verbs),
                                    [&](const Verb& known) { return line->verb == known.name; });
    if (line->help) {
        if (verb == std::end(verbs))
            print_usage(std::cout);
        else
            std::cout << "usage: vosctl [--config FILE] " << verb->help;
        return exit_done;
    }
    if (line->version) {
        std::cout << "vosctl " << nyx_utils::DualNYXHelper::get_nyx_version_num() << '\n';
        return exit_done;
    }
    if (line->verb.empty())
        return fail_usage("no verb");
    if (verb == std::end(verbs))
        return fail_usage("unknown verb " + line->verb);
    return verb->run(*line);
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
