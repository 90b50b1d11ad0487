#include "platform/variant/variant.h"
#include "vosctl/check/check_file.h"
#include "vosctl/link/supervisor_link.h"
#include "vosctl/verbs/request.h"
#include "vosctl/verbs/verbs.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <iterator>
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

} // namespace

int reload(const CommandLine& line)
{
    const auto force = std::ranges::count(line.arguments, "--force");
    if (force != std::ssize(line.arguments)) {
        std::cerr << "usage: vosctl reload [--force]\n";
        return exit_usage;
    }
    const auto file = node_configuration(line);
    const auto findings = check_file_in_its_folder(file);
    print_findings(std::cerr, std::cerr, file, findings);
    if (!has_finding(findings, Severity::error) || force > 0)
        return request(line.verb, ipc_reconfigure);
    std::cerr << "vosctl reload: refused, as the file has errors; --force reloads all the same\n";
    return exit_failed;
}

} // namespace vosctl
