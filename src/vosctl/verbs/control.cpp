#include "platform/variant/variant.h"
#include "vosctl/check/check_file.h"
#include "vosctl/link/supervisor_link.h"
#include "vosctl/verbs/verbs.h"

#include <unistd.h>

#include <iostream>
#include <string>

namespace vosctl {

namespace {

/// The daemon's own file where the command line does not name one and there is
/// none in this folder.
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

int request(const CommandLine& line, std::uint16_t type)
{
    const auto name = "vosctl " + line.verb;
    if (!line.arguments.empty()) {
        std::cerr << name << ": takes no arguments\n";
        return exit_usage;
    }
    auto link = SupervisorLink::connect();
    if (!link) {
        std::cerr << name << ": " << no_supervisor_text(link.reason()) << '\n';
        return exit_no_supervisor;
    }
    const auto answer = link->ask(type);
    if (answer && answer->type == ipc_done)
        return exit_done;
    std::cerr << name
              << (answer && answer->type == ipc_no_daemon
                      ? ": the daemon is not running\n"
                      : ": the supervisor refused, or did not answer in time\n");
    return exit_failed;
}

} // namespace

int reload(const CommandLine& line)
{
    auto rest = line;
    const bool force = std::erase(rest.arguments, "--force") > 0;
    if (!rest.arguments.empty()) {
        std::cerr << "usage: vosctl reload [--force]\n";
        return exit_usage;
    }
    const auto file = node_configuration(line);
    const auto findings = check_file_in_its_folder(file);
    print_findings(std::cerr, std::cerr, file, findings);
    if (!has_finding(findings, Severity::error) || force)
        return request(rest, ipc_reconfigure);
    std::cerr << "vosctl reload: refused, as the file has errors; --force reloads all the same\n";
    return exit_failed;
}

int stop(const CommandLine& line)
{
    return request(line, ipc_stop);
}

int terminate(const CommandLine& line)
{
    return request(line, ipc_terminate);
}

} // namespace vosctl
