// Shell commands, run with bounds.
#pragma once

#include "platform/process/command_result.h"

#include <string>

namespace platform {

enum class CommandOutput {
    standard_output, ///< standard error is the daemon's own
    with_errors,     ///< standard error is collected too
};

/// Runs `command` by /bin/sh -c, which becomes the program that it is when it is
/// one (see shell_command.h), and waits for it. The child starts with default
/// signal dispositions, in a process group of its own, with no descriptors but
/// 0 to 2. After 5 s, or 16 MiB of output, the group is killed and an error is
/// logged; at once, without an error, when a held SIGTERM waits (see
/// held_signal.h). No zombie is left behind. Calls while_waiting() meanwhile.
CommandResult run_program(const std::string& command, CommandOutput collect);

} // namespace platform
