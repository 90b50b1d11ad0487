// A verb of vosctl, and how it is called.
#pragma once

#include "vosctl/verbs/command_line.h"
#include "vosctl/verbs/exit_status.h"

#include <string>

namespace vosctl {

/// Every verb is one constant, in the file of its name; see verbs.h.
struct Verb {
    const char* name;
    const char* arguments; ///< its usage after the name; empty when it takes none
    const char* summary;   ///< its line in the list of verbs
    const char* help;      ///< what its usage and its summary do not say
    /// Prints the result on standard output and what went wrong on standard
    /// error; gives the exit status. Throws UsageError, and std::exception for
    /// what the verb has no words of its own for.
    int (*run)(const CommandLine& line);
};

/// Thrown by a verb that was called wrongly. With neither string the usage
/// alone says what is wrong.
struct UsageError {
    std::string reason{}; ///< instead of the usage
    std::string limits{}; ///< what the usage does not say of its arguments
};

/// For a verb that takes no arguments: throws UsageError when there are some.
void refuse_arguments(const CommandLine& line);

/// "status [--json]": the verb and its arguments.
std::string usage_of(const Verb& verb);

/// The line that says what was wrong: "usage: vosctl NAME ARGUMENTS", or
/// "vosctl NAME: REASON".
std::string usage_error_text(const Verb& verb, const UsageError& error);

} // namespace vosctl
