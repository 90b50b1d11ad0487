#include "vosctl/verbs/verb.h"

namespace vosctl {

void refuse_arguments(const CommandLine& line)
{
    if (!line.arguments.empty())
        throw UsageError{.reason = "takes no arguments"};
}

std::string usage_of(const Verb& verb)
{
    const std::string arguments = verb.arguments;
    return verb.name + (arguments.empty() ? "" : " " + arguments);
}

std::string usage_error_text(const Verb& verb, const UsageError& error)
{
    if (!error.reason.empty())
        return std::string("vosctl ") + verb.name + ": " + error.reason;
    return "usage: vosctl " + usage_of(verb) + (error.limits.empty() ? "" : ", " + error.limits);
}

} // namespace vosctl
