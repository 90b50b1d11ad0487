// Commands that the daemon answers itself instead of running them, as a shell
// does with its builtins.
#pragma once

#include "platform/process/command_result.h"
#include "platform/process/process_table.h"

#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// Prints how many pages TCP holds.
inline constexpr const char* tcp_pages_command =
    "cat /proc/net/sockstat | grep \"TCP\"  | awk ' { print $11} ' ";

/// The process of "/usr/bin/pgrep -P <pid> -l"; nothing for any other text,
/// and for what pgrep does not take literally (0 and numbers with a zero in
/// front).
std::optional<pid_t> parse_list_children(std::string_view command);

/// The pattern of "/usr/bin/pgrep <pattern>" when it is a plain word, of
/// letters, digits, "_" and "-", that pgrep can find. Nothing for any other
/// text: options, regular expressions and what is longer than the name of a
/// process, 15 characters.
std::optional<std::string_view> parse_find_by_name(std::string_view command);

/// Answers commands from `proc_root`. Loop thread only.
class BuiltinCommands {
public:
    explicit BuiltinCommands(const std::string& proc_root = "/proc");

    /// Exit code and output of `command`, the same as the program's. Nothing
    /// when the program has to be run: the command is none of ours, what it
    /// prints depends on more than /proc, or /proc does not show all of it.
    std::optional<CommandResult> answer(const std::string& command);

    ProcessTable& processes() { return m_processes; }

private:
    std::optional<CommandResult> list_children(pid_t pid);
    std::optional<CommandResult> find_by_name(std::string_view word);
    std::optional<CommandResult> print_tcp_pages() const;

    std::string m_proc_root;
    ProcessTable m_processes;
};

/// The one of this process, on /proc.
BuiltinCommands& builtin_commands();

/// While one lives, builtins see the machine's processes as they were when they
/// looked first: many commands in a row cost one pass over /proc.
class SharedProcessPass {
public:
    SharedProcessPass() { builtin_commands().processes().hold(); }
    SharedProcessPass(const SharedProcessPass&) = delete;
    SharedProcessPass& operator=(const SharedProcessPass&) = delete;
    ~SharedProcessPass() { builtin_commands().processes().release(); }
};

} // namespace platform
