// The log4cpp property file in force, and the watch on it.
//
// There is no thread: whoever tests or writes a record looks at the file's
// modification time and size first, once a second.
#pragma once

#include "platform/logger/log_level.h"
#include "text/result.h"

#include <atomic>
#include <shared_mutex>
#include <string>

namespace log4cpp {
class Category;
}

class LogSettings {
public:
    /// Puts the property file at `path` in force and watches it from now on.
    /// Throws std::runtime_error with the path and the reason when it can not
    /// be read or does not load; the settings before the call then stay.
    static void load(const std::string& path);

    /// Whether load() would take the file at `path`; otherwise what it would
    /// throw. Opens nothing else and changes nothing.
    static text::Outcome check(const std::string& path);

    /// Has every category write records of `least` and worse to standard error,
    /// and nowhere else. For a command, whose log is the terminal.
    static void use_standard_error(LogLevel least);

    /// Loads the watched file again when it has changed since the last look. A
    /// file that does not load leaves the settings in force, and is reported
    /// once. Throws std::bad_alloc.
    static text::Outcome reload_when_changed();

    /// Closes every appender and the watch.
    static void shut_down();

    /// The priority from which on `category` writes records, its own or that of one
    /// above it. Lasts, and is right after each of the calls above: to be tested
    /// without a lock. Throws std::bad_alloc.
    static const std::atomic<int>& level_of(const log4cpp::Category& category);
    /// For who has set a category's priority by log4cpp itself.
    static void levels_changed();

    /// Held while log4cpp is used, so that no appender is taken away meanwhile.
    [[nodiscard]] static std::shared_lock<std::shared_mutex> use();
};
