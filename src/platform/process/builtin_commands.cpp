#include "platform/process/builtin_commands.h"

#include "platform/file/text_file.h"
#include "procfs/net_sockstat.h"
#include "text/words.h"

#include <algorithm>

namespace platform {

namespace {

constexpr std::string_view program = "/usr/bin/pgrep ";
constexpr std::size_t longest_name = 15;
constexpr int no_match = 1;

bool remove_prefix(std::string_view& text, std::string_view prefix)
{
    const bool there = text.starts_with(prefix);
    if (there)
        text.remove_prefix(prefix.size());
    return there;
}

bool remove_suffix(std::string_view& text, std::string_view suffix)
{
    const bool there = text.ends_with(suffix);
    if (there)
        text.remove_suffix(suffix.size());
    return there;
}

// Not isalnum() and its like: what they say depends on the locale.
bool is_word_character(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
}

bool is_plain_character(char c)
{
    return c >= ' ' && c <= '~';
}

CommandResult result_of(std::string output)
{
    return {output.empty() ? no_match : 0, std::move(output)};
}

} // namespace

std::optional<pid_t> parse_list_children(std::string_view command)
{
    if (!remove_prefix(command, program) || !remove_prefix(command, "-P ") ||
        !remove_suffix(command, " -l") || command.starts_with('0') || command.starts_with('-'))
        return std::nullopt;
    return text::to_number<pid_t>(command);
}

std::optional<std::string_view> parse_find_by_name(std::string_view command)
{
    if (!remove_prefix(command, program) || command.empty() || command.size() > longest_name ||
        command.starts_with('-') || !std::ranges::all_of(command, is_word_character))
        return std::nullopt;
    return command;
}

BuiltinCommands::BuiltinCommands(const std::string& proc_root)
    : m_proc_root(proc_root), m_processes(proc_root)
{
}

std::optional<CommandResult> BuiltinCommands::answer(const std::string& command)
{
    if (const auto pid = parse_list_children(command))
        return list_children(*pid);
    if (const auto word = parse_find_by_name(command))
        return find_by_name(*word);
    if (command == tcp_pages_command)
        return print_tcp_pages();
    return std::nullopt;
}

std::optional<CommandResult> BuiltinCommands::list_children(pid_t pid)
{
    const auto children = m_processes.children_of(pid);
    if (!children)
        return std::nullopt;
    std::string output;
    for (const auto& child : *children) {
        // How pgrep writes other characters is a matter of the locale.
        if (!std::ranges::all_of(child.name, is_plain_character))
            return std::nullopt;
        output += std::to_string(child.pid) + " " + child.name + "\n";
    }
    return result_of(std::move(output));
}

std::optional<CommandResult> BuiltinCommands::find_by_name(std::string_view word)
{
    const auto pids = m_processes.named_like(word);
    if (!pids)
        return std::nullopt;
    std::string output;
    for (const auto pid : *pids)
        output += std::to_string(pid) + "\n";
    return result_of(std::move(output));
}

std::optional<CommandResult> BuiltinCommands::print_tcp_pages() const
{
    const auto text = read_text_file(m_proc_root + "/net/sockstat");
    if (!text)
        return std::nullopt;
    return CommandResult{0, procfs::tcp_pages_text(*text)};
}

BuiltinCommands& builtin_commands()
{
    static BuiltinCommands commands;
    return commands;
}

} // namespace platform
