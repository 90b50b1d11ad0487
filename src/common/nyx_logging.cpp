#include "common/nyx_logging.h"

#include "common/nyx_configurator.h"
#include "platform/logger/log_settings.h"
#include "platform/logger/sup_logger.h"

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
