// Processes of a test's own that do nothing.
#pragma once

#include <gtest/gtest.h>

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <string>
#include <vector>

/// A process that sleeps as `name` when it has done `work`, while its parent lives.
inline pid_t spawn(
    const char* name, const std::function<void()>& work = [] {})
{
    int ready[2];
    EXPECT_EQ(::pipe(ready), 0);
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::prctl(PR_SET_NAME, name);
        work();
        EXPECT_EQ(::write(ready[1], "", 1), 1);
        while (true)
            ::pause();
    }
    char none;
    EXPECT_EQ(::read(ready[0], &none, 1), 1);
    ::close(ready[0]);
    ::close(ready[1]);
    return pid;
}

/// The first a child of the test, each other one a child of the one before.
inline pid_t spawn_family(const std::vector<std::string>& names, std::size_t at = 0)
{
    return spawn(names[at].c_str(), [&] {
        if (at + 1 < names.size())
            spawn_family(names, at + 1);
    });
}

/// Ends it and all below it, which become our children one after another.
inline void end(pid_t pid)
{
    ::prctl(PR_SET_CHILD_SUBREAPER, 1);
    ::kill(pid, SIGKILL);
    while (::waitpid(-1, nullptr, 0) > 0) {
    }
    ::prctl(PR_SET_CHILD_SUBREAPER, 0); // orphans of other tests are not ours to keep
}
