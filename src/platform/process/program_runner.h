// Shell commands, run with bounds.
#pragma once

#include "platform/process/command_result.h"

#include <functional>
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
/// held_signal.h). No zombie is left behind.
CommandResult run_program(const std::string& command, CommandOutput collect);

/// Sets what is called ten times a second while a command runs, and by
/// call_between_commands(): a long row of commands, or one that hangs, keeps
/// the loop from its timers, and something may have to be done meanwhile. Null
/// takes it off. It must not throw and not run commands.
void set_between_commands(std::function<void()> hook);

/// Calls what was set; for who is about to run or answer a command.
void call_between_commands();

} // namespace platform
