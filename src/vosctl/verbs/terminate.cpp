#include "platform/ipc/ipc.h"
#include "vosctl/verbs/request.h"
#include "vosctl/verbs/verbs.h"

#include <iostream>

namespace vosctl {

int terminate(const CommandLine& line)
{
    if (!line.arguments.empty()) {
        std::cerr << "vosctl terminate: takes no arguments\n";
        return exit_usage;
    }
    return request(line.verb, ipc_terminate);
}

} // namespace vosctl
