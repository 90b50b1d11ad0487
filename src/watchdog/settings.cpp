#include "watchdog/settings.h"

#include "config/keys.h"

#include <stdexcept>

namespace vos_watchdog {

namespace {

constexpr const char* own_log_key = config::key::watchdog_log_config_file;
constexpr const char* daemon_log_key = config::key::log_config_file;

void read(const libconfig::Config& config, const char* key, std::chrono::milliseconds& value)
{
    int number = 0;
    if (config.lookupValue(key, number) && number > 0)
        value = std::chrono::milliseconds(number);
}

} // namespace

Settings read_settings(const nyx::AConfigurator& configurator)
{
    const auto& config = configurator.config;
    Settings settings;
    std::string file;
    if (config.lookupValue(own_log_key, file))
        settings.log_settings_key = own_log_key;
    else if (config.lookupValue(daemon_log_key, file))
        settings.log_settings_key = daemon_log_key;
    else
        throw std::runtime_error(std::string("missing configuration value: ") + own_log_key +
                                 " or " + daemon_log_key);
    read(config, config::key::heartbeat_timeout_ms, settings.heartbeat_timeout);
    read(config, config::key::kill_delay_ms, settings.kill_delay);
    read(config, config::key::stop_timeout_ms, settings.stop_timeout);
    read(config, config::key::restart_delay_ms, settings.restart_delay);
    read(config, config::key::longest_restart_delay_ms, settings.longest_restart_delay);
    return settings;
}

} // namespace vos_watchdog
