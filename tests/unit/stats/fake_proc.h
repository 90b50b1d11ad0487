// A /proc of a test's own making, and real processes to look for.
#pragma once

#include "support/sleepers.h"
#include "support/temp_folder.h"

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
struct SleepingFamily {
    explicit SleepingFamily(const std::vector<std::string>& names) : m_pid(spawn(names, 0)) {}
    SleepingFamily(const SleepingFamily&) = delete;
    ~SleepingFamily() { end(m_pid); }
    int pid() const { return m_pid; }

private:
    static pid_t spawn(const std::vector<std::string>& names, std::size_t at)
    {
        return ::spawn(names[at].c_str(), [&] {
            if (at + 1 < names.size())
                spawn(names, at + 1);
        });
    }
    const pid_t m_pid;
};
