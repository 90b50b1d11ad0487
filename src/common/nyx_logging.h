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

/// Receives libevent's own messages (see event_set_log_callback).
void libevent_event_log_cpp(int severity, const char* message);

/// Ends the process when libevent can not go on, which it has logged (see
/// event_set_fatal_callback): with status 1, or by abort() when libevent was
/// used wrongly. No destructor runs, since the events are in no known state.
[[noreturn]] void libevent_gives_up(int error);
