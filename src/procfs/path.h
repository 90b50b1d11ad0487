// Where the kernel publishes the files of one process.
#pragma once

#include <string>

namespace procfs {

/// `leaf` of process `pid` in the proc file system at `root`.
inline std::string path_of(const std::string& root, int pid, const char* leaf)
{
    return root + "/" + std::to_string(pid) + "/" + leaf;
}

} // namespace procfs
