// The interface of a component that follows configuration reloads.
#pragma once

#include "common/nyx_dispatch.h"
#include "common/nyx_libevent.h"

#include <string>

namespace nyx {

class IReconfigure : public virtual IDispatch {
public:
    /// `name` is the component's, for people.
    explicit IReconfigure(std::string name);
    IReconfigure(const IReconfigure&) = delete;
    IReconfigure& operator=(const IReconfigure&) = delete;

    /// Reads the component's settings again.
    virtual void reconfigure() = 0;
    /// Called when every component has been reconfigured.
    virtual void post_reconfigure() {}
    /// Whether the component must be reconfigured; `enabled` says whether it
    /// shall be enabled (false unless set).
    virtual bool need_reconf(bool& enabled) = 0;
    /// Takes over the enabled state; a component that stays enabled announces
    /// the reload by reload_conf().
    virtual void reload(bool enable);
    /// The boolean setting `key` of the current configuration. Throws
    /// std::runtime_error when it is missing. Implemented beside the store.
    virtual bool bool_get(const char* key);
    virtual bool is_enabled() { return true; }
    /// Sends control message "reconfigure" to the component's own agent.
    virtual void reload_conf();
    virtual ~IReconfigure() = default;

    /// Event callback: reconfigures the component `arg`.
    static void reconf_cb(int, short, void* arg);
    /// The event that has it called, unarmed: for who wants this component
    /// reconfigured later.
    NYXEventLibEventTimer& reconf_event() { return m_reconf_event; }

    const std::string& name() const { return m_name; }

private:
    friend class AConfigurator;

    bool m_running{false};
    std::string m_name;
    NYXEventLibEventTimer m_reconf_event;
    bool m_reconfigured{false}; ///< the store's, during a reload
};

} // namespace nyx
