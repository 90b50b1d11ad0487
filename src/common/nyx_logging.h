// Logging of a program: set up from its configuration, watched, reloaded.
#pragma once

#include <memory>
#include <string>

namespace nyx {
class AConfigurator;
}

/// What logging was set up from.
struct NyxLoggingHandle {
    nyx::AConfigurator* configurator; ///< not owned; outlives the handle
    std::string key;                  ///< dotted path of the key with the file's name
};

/// Puts the log4cpp property file that the configuration names under `key` in
/// force and watches it. Throws std::runtime_error naming the key, or the file
/// and the reason.
std::unique_ptr<NyxLoggingHandle> nyx_logging_init_cfg_and_watch(nyx::AConfigurator* configurator,
                                                                 const char* key);

/// Reads the key again and loads the file it names now. A file that does not
/// load leaves the old settings and logs one error.
void nyx_logging_reload(const NyxLoggingHandle* handle);

/// Ends logging.
void nyx_logging_and_watch_fini(std::unique_ptr<NyxLoggingHandle> handle);
