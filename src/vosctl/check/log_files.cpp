#include "vosctl/check/log_files.h"

#include "platform/logger/log_properties.h"

namespace vosctl {

std::vector<LogFile> log_files(std::string_view properties)
{
    const auto all = parse_log_properties(properties, nullptr);
    std::vector<LogFile> files;
    for (const auto& [name, type] : all) {
        const auto path = all.find(name + ".fileName");
        // Variables of the environment, the daemon's, are put in for ${...}.
        if (name.starts_with("appender.") && type.value.ends_with("FileAppender") &&
            path != all.end() && path->second.value.find("${") == std::string::npos)
            files.push_back({name.substr(name.find('.') + 1), path->second.value});
    }
    return files;
}

} // namespace vosctl
