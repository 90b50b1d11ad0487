#include "vosctl/verbs/command_line.h"

namespace vosctl {

text::Result<CommandLine> parse_command_line(const std::vector<std::string>& arguments)
{
    CommandLine line;
    for (auto at = arguments.begin(); at != arguments.end(); ++at) {
        if (*at == "--help" || *at == "-h") {
            line.help = true;
        } else if (*at == "--version") {
            line.version = true;
        } else if (*at == "--config") {
            if (++at == arguments.end())
                return text::Failure{"--config needs a file"};
            line.config = *at;
            line.config_given = true;
        } else if (at->starts_with("--config=")) {
            line.config = at->substr(at->find('=') + 1);
            line.config_given = true;
        } else if (at->starts_with("-") && line.verb.empty()) {
            return text::Failure{"unknown option " + *at};
        } else if (line.verb.empty()) {
            line.verb = *at;
        } else {
            line.arguments.push_back(*at);
        }
    }
    return line;
}

} // namespace vosctl
