#include "vosctl/check/log_files.h"

#include "text/words.h"

#include <map>

namespace vosctl {

std::vector<LogFile> log_files(std::string_view properties)
{
    constexpr std::string_view prefix = "log4cpp.appender.";
    std::map<std::string, std::string, std::less<>> values;
    while (auto line = text::next_line(properties)) {
        *line = line->substr(0, line->find('#'));
        const auto equals = line->find('=');
        const auto name = text::trimmed(line->substr(0, equals));
        if (equals != std::string_view::npos && name.starts_with(prefix))
            values[std::string(name.substr(prefix.size()))] =
                text::trimmed(line->substr(equals + 1));
    }
    std::vector<LogFile> files;
    for (const auto& [name, type] : values) {
        const auto path = values.find(name + ".fileName");
        // log4cpp puts variables of the environment, the daemon's, in for ${...}.
        if (name.find('.') == std::string::npos && type.ends_with("FileAppender") &&
            path != values.end() && path->second.find("${") == std::string::npos)
            files.push_back({name, path->second});
    }
    return files;
}

} // namespace vosctl
