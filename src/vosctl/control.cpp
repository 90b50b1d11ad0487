#include "vosctl/supervisor_link.h"
#include "vosctl/verbs.h"

#include <cstring>
#include <iostream>

namespace vosctl {

namespace {

int request(const CommandLine& line, std::uint16_t type)
{
    const auto name = "vosctl " + line.verb;
    if (!line.arguments.empty()) {
        std::cerr << name << ": takes no arguments\n";
        return exit_usage;
    }
    SupervisorLink link;
    if (const int error = link.connect(); error != 0) {
        std::cerr << name << ": no supervisor at " << ipc_dir() << ": " << std::strerror(error)
                  << '\n';
        return exit_no_supervisor;
    }
    const auto answer = link.ask(type);
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
    return request(line, ipc_reconfigure);
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
