// Where the address that a report is sent to comes from.
#pragma once

namespace nyx {

enum class ResolverState {
    unused,     ///< no name has been resolved yet
    literal,    ///< the URL names an address
    hosts_file, ///< the static host table
    cached,     ///< an answer whose time to live is not over
    fresh,      ///< a name server has just answered
    remembered, ///< no name server answers; the last good address is used
    failing,    ///< no name server answers, and no address is remembered
};

/// The word for `state` in the node status. Pure.
constexpr const char* to_string(ResolverState state)
{
    switch (state) {
    case ResolverState::unused:
        return "unused";
    case ResolverState::literal:
        return "literal";
    case ResolverState::hosts_file:
        return "hosts file";
    case ResolverState::cached:
        return "cached";
    case ResolverState::fresh:
        return "fresh";
    case ResolverState::remembered:
        return "remembered";
    case ResolverState::failing:
        break;
    }
    return "failing";
}

} // namespace nyx
