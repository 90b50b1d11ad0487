// The supervisor's settings: section "Watchdog" of the node's configuration.
#pragma once

#include "common/nyx_configurator.h"
#include "config/keys.h"

#include <chrono>
#include <string>

namespace vos_watchdog {

struct Settings {
    std::string log_settings_key; ///< "Watchdog.log_config_file", or else the daemon's
    /// "Watchdog.heartbeat_timeout_ms": longest silence of a daemon that is well.
    std::chrono::milliseconds heartbeat_timeout{config::default_heartbeat_timeout_ms};
    /// "Watchdog.kill_delay_ms": from SIGABRT to SIGKILL of one that is not.
    std::chrono::milliseconds kill_delay{config::default_kill_delay_ms};
    /// "Watchdog.stop_timeout_ms": from SIGTERM to SIGKILL of one that shall end.
    std::chrono::milliseconds stop_timeout{config::default_stop_timeout_ms};
    /// "Watchdog.restart_delay_ms" and "Watchdog.longest_restart_delay_ms".
    std::chrono::milliseconds restart_delay{config::default_restart_delay_ms};
    std::chrono::milliseconds longest_restart_delay{config::default_longest_restart_delay_ms};
};

/// Reads the section; a key that is missing or no number keeps its default.
/// Throws std::runtime_error when no log settings file is named at all.
Settings read_settings(const nyx::AConfigurator& configurator);

} // namespace vos_watchdog
