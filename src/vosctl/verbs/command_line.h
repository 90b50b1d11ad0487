// The command line of vosctl: global options, a verb, and what follows it.
#pragma once

#include "text/result.h"

#include <string>
#include <vector>

namespace vosctl {

struct CommandLine {
    std::string config{"vos.conf"};     ///< --config FILE
    bool config_given{false};           ///< it was there
    bool help{false};                   ///< --help
    bool version{false};                ///< --version
    std::string verb;                   ///< empty: none was given
    std::vector<std::string> arguments; ///< what follows the verb
};

/// Reads the arguments of main, without the program's name. Options may stand
/// before or after the verb. Fails for an option that lacks its value, and
/// before the verb for one that there is not: after it, it is the verb's.
text::Result<CommandLine> parse_command_line(const std::vector<std::string>& arguments);

} // namespace vosctl
