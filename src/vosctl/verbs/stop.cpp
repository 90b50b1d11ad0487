#include "vosctl/verbs/verbs.h"

#include "platform/ipc/ipc.h"
#include "vosctl/verbs/request.h"

namespace vosctl {

namespace {

int run(const CommandLine& line)
{
    refuse_arguments(line);
    return request(line.verb, ipc_stop);
}

} // namespace

constinit const Verb stop_verb{
    .name = "stop",
    .arguments = "",
    .summary = "end the daemon; its supervisor starts it again",
    .help = "Ends the daemon; its supervisor starts it again.\n",
    .run = run,
};

} // namespace vosctl
