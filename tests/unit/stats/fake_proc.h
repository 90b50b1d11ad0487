// A /proc of a test's own making, and real processes to look for.
#pragma once

#include "support/temp_folder.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

inline const std::string captured_proc = VOS_FIXTURES "/proc/two_cores";

struct FakeProc : TempFolder {
    void process(int pid, int user, int kernel, int rss_kb, int fds, const std::string& limit) const
    {
        const auto folder = std::to_string(pid) + "/";
        const auto times = std::to_string(user) + " " + std::to_string(kernel);
        write(folder + "stat", "1 (any) S 1 1 1 0 -1 0 0 0 0 0 " + times + " 0 0\n");
        write(folder + "status", "State:\tS\nVmRSS:\t" + std::to_string(rss_kb) + " kB\n");
        write(folder + "limits", "Limit Soft Hard\nMax open files   7   " + limit + "  files\n");
        for (int fd = 0; fd < fds; ++fd)
            write(folder + "fd/" + std::to_string(fd), "");
    }
};

/// Processes that sleep until this goes: the first a child of the test, each
/// other one a child of the one before.
class SleepingFamily {
public:
    explicit SleepingFamily(const std::vector<std::string>& names)
    {
        ::prctl(PR_SET_CHILD_SUBREAPER, 1); // orphans come to us, and do not stay
        for (const auto& name : names)
            std::filesystem::copy_file("/bin/sleep", m_programs.file(name));
        int ready[2];
        if (::pipe2(ready, O_CLOEXEC) != 0)
            return;
        m_pid = ::fork();
        if (m_pid == 0 && ::setpgid(0, 0) == 0)
            become(names, 0);
        ::close(ready[1]);
        char none;
        [[maybe_unused]] const auto end = ::read(ready[0], &none, 1); // all are sleep now
        ::close(ready[0]);
    }
    SleepingFamily(const SleepingFamily&) = delete;
    ~SleepingFamily()
    {
        if (m_pid > 0)
            ::kill(-m_pid, SIGKILL);
        while (m_pid > 0 && ::waitpid(-m_pid, nullptr, 0) > 0) {
        }
    }
    int pid() const { return m_pid; }

private:
    [[noreturn]] void become(const std::vector<std::string>& names, std::size_t at) const
    {
        if (at + 1 < names.size() && ::fork() == 0)
            become(names, at + 1);
        ::execl(m_programs.file(names[at]).c_str(), names[at].c_str(), "60", nullptr);
        ::_exit(1);
    }

    TempFolder m_programs;
    pid_t m_pid{-1};
};
