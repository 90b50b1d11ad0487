#include "common/reconfigure.h"

#include "platform/ipc/ipc.h"

#include <utility>

namespace nyx {

IReconfigure::IReconfigure(std::string name)
    : m_name(std::move(name)), m_reconf_event(&IReconfigure::reconf_cb, this, -1)
{
}

void IReconfigure::reload(bool enable)
{
    if (m_running && enable)
        reload_conf();
    m_running = enable;
}

void IReconfigure::reload_conf()
{
    dispatch_msg(ipc_reconfigure);
}

void IReconfigure::reconf_cb(int, short, void* arg)
{
    auto& component = *static_cast<IReconfigure*>(arg);
    component.reconfigure();
    component.post_reconfigure();
}

} // namespace nyx
