#include "common/reconfigure.h"

#include "common/nyx_configurator.h"
#include "platform/ipc/ipc.h"

#include <cxxabi.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <typeinfo>
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

bool IReconfigure::bool_get(const char* key)
{
    bool value{};
    if (!TheConfigurator::get_configuration().config.lookupValue(key, value))
        throw std::runtime_error(std::string("ERROR couldn't find the parameter of ") + key);
    return value;
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

std::string class_name_of(const IReconfigure* component)
{
    constexpr std::size_t longest = 511;
    const char* mangled = typeid(*component).name();
    if (*mangled == '*')
        ++mangled;
    int status{};
    const std::unique_ptr<char, decltype(&std::free)> demangled(
        abi::__cxa_demangle(mangled, nullptr, nullptr, &status), &std::free);
    return std::string(status == 0 ? demangled.get() : mangled).substr(0, longest);
}

} // namespace nyx
