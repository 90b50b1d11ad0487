#include "equality_asker.h"

#include "platform/process/program_runner.h"

#include <cstdio>

namespace {

std::string told(const platform::CommandResult& result)
{
    std::string text = std::to_string(result.exit_code) + ":";
    char shown[8];
    for (const char c : result.output) {
        std::snprintf(shown, sizeof shown, c >= ' ' && c <= '~' ? "%c" : "\\%02x",
                      static_cast<unsigned char>(c));
        text += shown;
    }
    return text;
}

std::string run(const std::string& command)
{
    return told(platform::run_program(command, platform::CommandOutput::with_errors));
}

} // namespace

std::string children_of(pid_t pid)
{
    return "/usr/bin/pgrep -P " + std::to_string(pid) + " -l";
}

std::string named(const std::string& word)
{
    return "/usr/bin/pgrep " + word;
}

void Asker::compare(const std::vector<std::string>& commands, const Work& meanwhile)
{
    std::map<std::string, std::string> before;
    for (const auto& command : commands)
        before[command] = run(command);
    meanwhile();
    for (const auto& command : commands) {
        const auto after = run(command);
        for (const auto& answer : m_answers[command])
            if (after == before[command] && answer != after)
                differs(command, answer, after);
    }
    m_answers.clear();
}

void Asker::compare(const std::vector<std::string>& commands)
{
    compare(commands, [&] {
        hold_and_answer(commands);
        for (const auto& command : commands)
            answer(command);
    });
}

void Asker::answer(const std::string& command)
{
    ++m_asked;
    if (const auto result = m_builtins->answer(command))
        m_answers[command].push_back(told(*result));
    else
        ++m_left;
}

void Asker::hold_and_answer(const std::vector<std::string>& commands)
{
    m_builtins->processes().hold();
    for (const auto& command : commands)
        answer(command);
    m_builtins->processes().release();
}

int Asker::tell() const
{
    std::printf("%ld %ld %ld\n", m_asked, m_left, m_wrong);
    return 0;
}

void Asker::differs(const std::string& command, const std::string& builtin,
                    const std::string& right)
{
    if (++m_wrong <= 3)
        std::fprintf(stderr, "  %s: builtin %s, program %s\n", command.c_str(), builtin.c_str(),
                     right.c_str());
}
