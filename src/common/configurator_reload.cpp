// Telling components of a reload, in two passes.
#include "common/nyx_configurator.h"
#include "common/reconfigure.h"
#include "platform/logger/sup_logger.h"

#include <cxxabi.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <set>
#include <stdexcept>
#include <typeinfo>

namespace nyx {

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Configurator");
    return instance;
}

/// The class name of `component`'s dynamic type, at most 511 characters. Throws
/// std::bad_typeid for null.
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

/// Logs a component's failure; called from a catch clause.
std::string log_component_failure(const IReconfigure* component)
{
    auto text =
        "Exception caught in reloading configuration callback from: " + class_name_of(component);
    logger().error(text);
    return text;
}

/// Calls `step`; a std::runtime_error ends the reload, anything else only this
/// component's part in it.
template <typename Step>
void run_step(const IReconfigure* component, Step step)
{
    try {
        step();
    } catch (const std::runtime_error&) {
        throw std::runtime_error(log_component_failure(component));
    } catch (...) {
        log_component_failure(component);
    }
}

} // namespace

/// Calls `tell` once for each component, in order. Who is registered meanwhile
/// is told too, who is unregistered is not.
template <typename Tell>
void AConfigurator::tell_components(Tell tell)
{
    std::set<const IReconfigure*> told;
    const auto next = [this, &told] {
        return std::ranges::find_if(m_callbacks,
                                    [&told](const auto* one) { return !told.contains(one); });
    };
    for (auto at = next(); at != m_callbacks.end(); at = next()) {
        told.insert(*at);
        tell(*at);
    }
}

/// One that unregisters itself may be gone: nothing of it is used after.
void AConfigurator::reconfigure_component(IReconfigure& component)
{
    bool enabled = false;
    const bool need = component.need_reconf(enabled);
    if (!is_registered(&component))
        return;
    logger().debug("Need reconf: ", need, " SVC enabled: ", enabled,
                   " Is running: ", component.m_running);
    if (!need && component.m_running == enabled)
        return;
    component.reconfigure();
    if (!is_registered(&component))
        return;
    component.m_reconfigured = true;
    component.reload(enabled);
}

void AConfigurator::reconfigure_components()
{
    tell_components([this](IReconfigure* component) {
        component->m_reconfigured = false;
        run_step(component, [this, component] { reconfigure_component(*component); });
    });
}

void AConfigurator::post_reconfigure_components()
{
    tell_components([](IReconfigure* component) {
        if (component->m_reconfigured)
            run_step(component, [component] { component->post_reconfigure(); });
    });
}

bool AConfigurator::is_registered(const IReconfigure* component) const
{
    return std::ranges::find(m_callbacks, component) != m_callbacks.end();
}

void AConfigurator::register_reconfiguration_cb(IReconfigure* component)
{
    if (!is_registered(component) && !m_reconf_disabled)
        m_callbacks.push_back(component);
}

void AConfigurator::unregister_reconfiguration_cb(IReconfigure* component)
{
    const auto found = std::find(m_callbacks.begin(), m_callbacks.end(), component);
    if (found != m_callbacks.end())
        m_callbacks.erase(found);
}

} // namespace nyx
