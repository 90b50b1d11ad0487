#include "platform/process/shell_command.h"

#include "platform/process/program_runner.h"

#include <gtest/gtest.h>

using namespace platform;

TEST(ShellCommand, becomes_the_program_unless_the_shell_has_work_to_do)
{
    for (const std::string simple : {"ls", " ls -l --all=1", "/usr/bin/pgrep -P 1 -l", "./cd A=b"})
        EXPECT_EQ(shell_text(simple), "exec " + simple);
    for (const std::string other :
         {"",       "  ",   "cd /", "A=b ls", "-x",      "exec ls", ". file", "if true",  "ls;ls",
          "ls\nls", "a|b",  "a&",   "ls >f",  "$x",      "`x`",     "ls *",   "ls ?",     "ls [a]",
          "ls ~",   "ls #", "! ls", "{ ls",   "\"a b\"", "'a'",     "a\\b",   "\xc3\xa9", "a\tb"})
        EXPECT_EQ(shell_text(other), other);
    const auto children = "/usr/bin/pgrep -P " + std::to_string(::getpid()) + " -l";
    EXPECT_EQ(run_program(children, CommandOutput::with_errors).output, "") << "no shell";
}
