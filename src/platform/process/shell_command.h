// What a shell is given to run.
#pragma once

#include <string>

namespace platform {

/// `command` with "exec " in front when it is one program with its arguments:
/// the shell then becomes that program, and does not stand beside it in the
/// tree of processes that is measured. As it is when it has any character that
/// means something to a shell, an assignment in front, or begins with a word
/// that is the shell's own. Pure.
std::string shell_text(const std::string& command);

} // namespace platform
