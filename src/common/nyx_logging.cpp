#include "common/nyx_logging.h"

#include "common/nyx_configurator.h"
#include "platform/logger/log_settings.h"
#include "platform/logger/sup_logger.h"

#include <event2/event.h>

#include <cstdlib>
#include <exception>
#include <stdexcept>

namespace {

std::string settings_file(const NyxLoggingHandle& handle)
{
    std::string path;
    if (!handle.configurator->config.lookupValue(handle.key, path))
        throw std::runtime_error("missing configuration value: " + handle.key);
    return path;
}

LogLevel level_of(int severity)
{
    switch (severity) {
    case EVENT_LOG_DEBUG:
        return LogLevel::debug;
    case EVENT_LOG_MSG:
        return LogLevel::info;
    case EVENT_LOG_WARN:
        return LogLevel::warning;
    default:
        return LogLevel::error;
    }
}

} // namespace

std::unique_ptr<NyxLoggingHandle> nyx_logging_init_cfg_and_watch(nyx::AConfigurator* configurator,
                                                                 const char* key)
{
    auto handle = std::make_unique<NyxLoggingHandle>(NyxLoggingHandle{configurator, key});
    LogSettings::load(settings_file(*handle));
    return handle;
}

void nyx_logging_reload(const NyxLoggingHandle* handle)
{
    try {
        LogSettings::load(settings_file(*handle));
    } catch (const std::exception& error) {
        SupLogger::get_instance("Logging").error(error.what(), "; the old settings stay");
    }
}

void nyx_logging_and_watch_fini(std::unique_ptr<NyxLoggingHandle> handle)
{
    SupLogger::shut_down();
    handle.reset();
}

void libevent_event_log_cpp(int severity, const char* message)
{
    static SupLogger& logger = SupLogger::get_instance("libevent");
    logger.log(level_of(severity), message);
}

void libevent_gives_up(int error)
{
    constexpr int out_of_resources = 1; // any other says that libevent was used wrongly
    if (error != out_of_resources)
        std::abort();
    std::_Exit(error);
}
