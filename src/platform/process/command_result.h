// What became of a command.
#pragma once

#include <string>

namespace platform {

struct CommandResult {
    int exit_code{};    ///< 128 + signal when a signal ended it; 127 when it could not be started
    std::string output; ///< what it wrote
};

} // namespace platform
