// The appenders that a log4cpp property file may ask for.
#pragma once

#include "platform/logger/log_properties.h"
#include "text/result.h"

#include <memory>
#include <string>

namespace log4cpp {
class Appender;
}

/// One appender: where records go, and in which form.
struct AppenderPlan {
    std::string name;
    std::string type;      ///< without its package: "FileAppender"
    std::string layout;    ///< the same: "PatternLayout"
    int threshold{};       ///< records of this level and worse
    LogProperties options; ///< by what follows the appender's name: "fileName"

    /// An option, or what counts without it. As in log4cpp, a number is what a
    /// value begins with, and a flag is set by "true" alone.
    std::string text(const char* option, const char* otherwise) const;
    int number(const char* option, int otherwise) const;
    bool flag(const char* option, bool otherwise) const;
};

/// Whether make_appender() knows its type, layout and target. `definition` is the
/// property that gives the type. Opens nothing.
text::Outcome check_appender(const AppenderPlan& plan, const LogProperty& definition);

/// Makes the appender of a plan that was found good, and opens its file. A file
/// that can not be opened is no failure: it is told of on standard error, and its
/// records go there until it can, which is tried once a second at most. Standard
/// error is never waited for.
std::unique_ptr<log4cpp::Appender> make_appender(const AppenderPlan& plan);
