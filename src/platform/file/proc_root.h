// The folder in which the kernel's files on processes are read.
#pragma once

#include <string>

namespace platform {

/// A folder that is laid out as /proc: a proc file system, that of another PID
/// namespace maybe, or files of somebody's making. What it is, is looked at once.
class ProcRoot {
public:
    ProcRoot(std::string path = "/proc");

    const std::string& path() const { return m_path; }
    /// Whether the kernel makes its files.
    bool is_proc() const { return m_is_proc; }
    /// Whether the kernel makes its files, and the process ids in it are those that
    /// system calls of this process take.
    bool has_own_ids() const { return m_has_own_ids; }

private:
    std::string m_path;
    bool m_is_proc;
    bool m_has_own_ids;
};

} // namespace platform
