// The lines of a log4cpp property file. Pure.
#pragma once

#include "text/result.h"

#include <functional>
#include <map>
#include <string>
#include <string_view>

/// One line "log4cpp.NAME=VALUE".
struct LogProperty {
    std::string written; ///< the name as the file has it
    std::string value;   ///< variables put in
    int line{};          ///< counted from 1
};

/// By name, without its first word: "rootCategory", "appender.file.fileName".
using LogProperties = std::map<std::string, LogProperty, std::less<>>;

/// Finds a variable of the environment: null when there is none. std::getenv.
using FindVariable = char* (*)(const char* name);

/// Reads `text` as log4cpp does. "#" begins a comment, a line without "=" says
/// nothing, the first word of a name is "log4cpp", "log4j" or left out, and the
/// first line of a name counts. "${NAME}" in a value is the variable NAME of the
/// environment, or an earlier property, or nothing; left as it is without `find`.
LogProperties parse_log_properties(std::string_view text, FindVariable find);

/// Why the file can not be used: the property with its line, and `reason`.
text::Failure refusal(const LogProperty& property, const std::string& reason);

/// The level that `value`, which is of `property`, names or is the number of;
/// "WARN", "750".
text::Result<int> log_level(const LogProperty& property, const std::string& value);
