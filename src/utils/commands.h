// The commands that the agent asks the system with.
#pragma once

#include "platform/process/program_runner.h"

#include <string>

namespace nyx_utils {

/// Runs `command` with the bounds of platform::run_program(). With
/// "Monitoring.builtin_commands" true, a few commands are answered without a
/// program, in the same way; see platform/process/builtin_commands.h.
platform::CommandResult run_command(const std::string& command, platform::CommandOutput collect);

/// To be called until it is true, in turns of the loop: has the first answers not
/// hold it for long. True at once without "Monitoring.builtin_commands".
bool prepare_commands();

} // namespace nyx_utils
