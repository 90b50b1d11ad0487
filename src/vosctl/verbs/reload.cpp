#include "vosctl/verbs/verbs.h"

#include "platform/variant/variant.h"
#include "vosctl/check/check_file.h"
#include "vosctl/link/supervisor_link.h"
#include "vosctl/verbs/request.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <iterator>
#include <string>

namespace vosctl {

namespace {

/// The file to check: the daemon's own where the command line does not name one
/// and there is none in the working directory.
std::string node_configuration(const CommandLine& line)
{
    if (line.config_given || ::access(line.config.c_str(), F_OK) == 0)
        return line.config;
    auto link = SupervisorLink::connect();
    const auto answer = link ? link->ask(ipc_status) : std::nullopt;
    if (!answer || answer->type != ipc_status_answer)
        return line.config;
    const auto status = libvariant::read_json(answer->text);
    if (!status.at("running").get<bool>())
        return line.config;
    return "/proc/" + libvariant::write_json(status.at("pid")) + "/cwd/" + line.config;
}

int run(const CommandLine& line)
{
    const auto force = std::ranges::count(line.arguments, "--force");
    if (force != std::ssize(line.arguments))
        throw UsageError{};
    const auto file = node_configuration(line);
    const auto findings = check_file_in_its_directory(file);
    print_findings(std::cerr, std::cerr, file, findings);
    if (!has_finding(findings, Severity::error) || force > 0)
        return request(line.verb, ipc_reconfigure);
    std::cerr << "vosctl reload: refused, as the file has errors; --force reloads all the same\n";
    return exit_failed;
}

} // namespace

constinit const Verb reload_verb{
    .name = "reload",
    .arguments = "[--force]",
    .summary = "let the daemon read its configuration again",
    .help = "Checks the configuration as \"vosctl check\" does, then lets the daemon read it\n"
            "again. A file with errors is refused: of a broken file the daemon would keep\n"
            "one half, and an empty one it would take for a good one. Warnings do not stop\n"
            "a reload, and with --force nothing does. Without --config, and without a\n"
            "vos.conf in this folder, the file is the running daemon's.\n",
    .run = run,
};

} // namespace vosctl
