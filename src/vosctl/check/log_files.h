// The files that a program logs into, by its log settings. Pure.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace vosctl {

struct LogFile {
    std::string appender;
    std::string path;
};

/// The files that the appenders of a log4cpp property file write.
std::vector<LogFile> log_files(std::string_view properties);

} // namespace vosctl
