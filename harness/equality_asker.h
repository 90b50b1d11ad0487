// Asks the builtin commands, and the programs that they stand for.
#pragma once

#include "equality_processes.h"
#include "platform/process/builtin_commands.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

/// The command that lists the children of `pid`, or the processes with `word` in
/// their name.
std::string children_of(pid_t pid);
std::string named(const std::string& word);

/// Counts the questions, and the answers that were wrong.
class Asker {
public:
    explicit Asker(long wanted) : m_wanted(wanted) {}

    bool goes_on() const { return m_asked < m_wanted; }
    /// Has `meanwhile` ask by answer(). An answer is wrong that is not the one of
    /// the programs before and after it, if theirs are the same.
    void compare(const std::vector<std::string>& commands, const Work& meanwhile);
    /// The same, asking each command within one pass over /proc, and by itself.
    void compare(const std::vector<std::string>& commands);

    void answer(const std::string& command);
    void hold_and_answer(const std::vector<std::string>& commands);
    /// Forgets all that the builtins know.
    void start_anew() { m_builtins = std::make_unique<platform::BuiltinCommands>(); }

    /// Prints how many were asked, left to the program, and wrong. Returns 0.
    int tell() const;

private:
    void differs(const std::string& command, const std::string& builtin, const std::string& right);

    std::unique_ptr<platform::BuiltinCommands> m_builtins =
        std::make_unique<platform::BuiltinCommands>();
    std::map<std::string, std::vector<std::string>> m_answers;
    long m_wanted;
    long m_asked{};
    long m_left{};
    long m_wrong{};
};
