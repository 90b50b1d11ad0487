// The folders of /proc whose entries are processes and threads.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace platform {

struct NumberedEntry {
    pid_t number{};
    /// Of a process's folder in /proc, the kernel makes it with the process: a
    /// later one under the same number has another.
    ino_t inode{};
};

/// The entries of the folder at `path` that are numbers, ascending. Nothing when
/// it can not be opened or not be read to its end.
std::optional<std::vector<NumberedEntry>> read_numbered_folder(const std::string& path);

} // namespace platform
