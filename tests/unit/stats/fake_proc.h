// A /proc of a test's own making.
#pragma once

#include "support/temp_folder.h"

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
