#include "vosctl/verbs/verbs.h"

#include "platform/ipc/ipc.h"
#include "vosctl/verbs/request.h"

namespace vosctl {

namespace {

int run(const CommandLine& line)
{
    refuse_arguments(line);
    return request(line.verb, ipc_terminate);
}

} // namespace

constinit const Verb terminate_verb{
    .name = "terminate",
    .arguments = "",
    .summary = "end the daemon and its supervisor; they stay down",
    .help = "Ends the daemon and its supervisor; they stay down.\n",
    .run = run,
};

} // namespace vosctl
