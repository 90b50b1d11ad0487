#include "platform/process/shell_command.h"

#include "text/words.h"

#include <algorithm>
#include <string_view>

namespace platform {

namespace {

/// What no shell gives a meaning to. Quotes are left out, so that blanks part
/// words, and "~", "#" and "!", which have one at the beginning of a word.
constexpr std::string_view plain_characters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ"
                                              "0123456789 _-./:,+=@%";

/// Words that a shell does not look for in the file system, or that mean
/// something else as an argument of "exec".
constexpr std::string_view own_words[] = {
    // keywords
    "case", "coproc", "do", "done", "elif", "else", "esac", "fi", "for", "function", "if", "in",
    "select", "then", "time", "until", "while",
    // builtins of a POSIX shell and of dash
    ".", ":", "alias", "bg", "break", "cd", "chdir", "command", "continue", "echo", "eval", "exec",
    "exit", "export", "false", "fc", "fg", "getopts", "hash", "jobs", "kill", "local", "newgrp",
    "printf", "pwd", "read", "readonly", "return", "set", "shift", "test", "times", "trap", "true",
    "type", "ulimit", "umask", "unalias", "unset", "wait",
    // builtins of bash, which may stand as /bin/sh
    "bind", "builtin", "caller", "compgen", "complete", "compopt", "declare", "dirs", "disown",
    "enable", "help", "history", "let", "logout", "mapfile", "popd", "pushd", "readarray", "shopt",
    "source", "suspend", "typeset"};

} // namespace

std::string shell_text(const std::string& command)
{
    std::string_view rest = command;
    const auto program = text::next_word(rest);
    const bool is_simple = !program.empty() && program.front() != '-' &&
                           program.find('=') == std::string_view::npos &&
                           command.find_first_not_of(plain_characters) == std::string::npos &&
                           std::ranges::find(own_words, program) == std::end(own_words);
    return is_simple ? "exec " + command : command;
}

} // namespace platform
