// The command line of vosctl: global options, a verb, and what follows it.
#pragma once

#include <optional>
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
/// before or after the verb. Nothing, and the reason in `failure`, for an
/// option that there is not or that lacks its value.
std::optional<CommandLine> parse_command_line(const std::vector<std::string>& arguments,
                                              std::string& failure);

} // namespace vosctl
