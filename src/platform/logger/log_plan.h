// What a log4cpp property file asks for. Pure.
#pragma once

#include "platform/logger/log_appender.h"
#include "platform/logger/log_properties.h"
#include "text/result.h"

#include <string>
#include <vector>

/// One category: from which level on it writes, and to which appenders.
struct CategoryPlan {
    std::string name; ///< empty: the root
    int level{};
    bool additive{}; ///< writes to the appenders of those above it, too
    std::vector<std::string> appenders;
};

struct LogPlan {
    std::vector<AppenderPlan> appenders;
    std::vector<CategoryPlan> categories; ///< the root first
};

/// Refuses what log4cpp would refuse half-way, and a category that names an
/// appender which the file does not define: log4cpp would take one of that name
/// that an earlier file has left behind. The reason names line, key and value.
text::Result<LogPlan> plan_log(const LogProperties& properties);
