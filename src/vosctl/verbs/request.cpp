#include "vosctl/verbs/request.h"

#include "vosctl/link/supervisor_link.h"
#include "vosctl/verbs/exit_status.h"

#include <iostream>

namespace vosctl {

int request(const std::string& verb, std::uint16_t type)
{
    auto link = SupervisorLink::connect();
    if (!link)
        return no_supervisor(verb, link.reason());
    const auto answer = link->ask(type);
    if (answer && answer->type == ipc_done)
        return exit_done;
    std::cerr << "vosctl " << verb
              << (answer && answer->type == ipc_no_daemon
                      ? ": the daemon is not running\n"
                      : ": the supervisor refused, or did not answer in time\n");
    return exit_failed;
}

int no_supervisor(const std::string& verb, const std::string& why)
{
    std::cerr << "vosctl " << verb << ": " << no_supervisor_text(why) << '\n';
    return exit_no_supervisor;
}

} // namespace vosctl
