// Where the kernel publishes the files of one process.
#pragma once

#include <string>

/// `leaf` of process `pid` under the proc file system at `proc_root`.
inline std::string proc_path(const std::string& proc_root, int pid, const char* leaf)
{
    return proc_root + "/" + std::to_string(pid) + "/" + leaf;
}
