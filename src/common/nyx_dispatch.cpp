#include "common/nyx_dispatch.h"

#include "platform/ipc/ipc.h"

#include <errno.h>

#include <utility>

namespace nyx {

namespace {

int link_fd = -1;
std::string agent_id;

} // namespace

void IDispatch::setup(int fd, std::string id)
{
    link_fd = fd;
    agent_id = std::move(id);
}

bool IDispatch::dispatch_msg(std::uint16_t type)
{
    if (link_fd < 0)
        return false;
    ipcmsg_t message;
    init_ipc_hdr(&message, type, program_invocation_short_name, agent_id.c_str());
    return send_msg(link_fd, message) == 0;
}

} // namespace nyx
