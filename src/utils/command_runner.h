// Shell commands, run with bounds.
#pragma once

#include <functional>
#include <string>

namespace nyx_utils {

enum class CommandOutput {
    standard_output, ///< standard error is the daemon's own
    with_errors,     ///< standard error is collected too
};

struct CommandResult {
    int exit_code{};    ///< 128 + signal when a signal ended it; 127 when it could not be started
    std::string output; ///< what it wrote
};

/// Runs `command` by /bin/sh -c and waits for it. The child starts with default
/// signal dispositions, in a process group of its own, with no descriptors but
/// 0 to 2. After 5 s, or 16 MiB of output, the group is killed and an error is
/// logged. No zombie is left behind.
///
/// With "Monitoring.builtin_commands" true, a few commands are answered without
/// a program, in the same way; see builtin_commands.h.
CommandResult run_command(const std::string& command, CommandOutput collect);

/// Sets what is called before each command and ten times a second while one
/// runs: a long row of commands, or one that hangs, keeps the loop from its
/// timers, and something may have to be done meanwhile. Null takes it off. It
/// must not throw and not run commands.
void set_between_commands(std::function<void()> hook);

} // namespace nyx_utils
