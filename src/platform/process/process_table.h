// The processes of the machine and their children, out of /proc.
#pragma once

#include "platform/process/children_files.h"
#include "platform/process/numbered_folder.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace platform {

struct NamedProcess {
    pid_t pid{};
    std::string name; ///< as the kernel has it; any byte but NUL may be in it
};

/// A view on `proc_root`. Children come from /proc/<pid>/task/<tid>/children
/// where the kernel offers these files, otherwise from a pass over
/// /proc/<pid>/stat of all processes. Names come from /proc/<pid>/comm.
///
/// From pass to pass the name of a process that has used no CPU time meanwhile
/// is kept, and that it has one thread: only a process itself changes that. It
/// takes a fifteenth of the time of reading the file. The kernel brings the
/// clock of a process that runs up to date at each tick of its own.
///
/// What a process that has gone does not answer is no lack. Anything else that
/// can not be read (hidden from this user, or there is no free descriptor) may
/// hide something: then there is no answer. Not thread-safe.
class ProcessTable {
public:
    explicit ProcessTable(std::string proc_root = "/proc");

    /// The processes, zombies included and threads not, with `part` in their
    /// name; ascending. Nothing when not all names could be read.
    std::optional<std::vector<pid_t>> named_like(std::string_view part);
    /// The children of `pid`, ascending; none when there is no such process.
    /// Nothing when they, or a name of theirs, could not be read, or changed too
    /// fast to be listed.
    std::optional<std::vector<NamedProcess>> children_of(pid_t pid);

    /// From the first pass after hold() to release(), that pass is good for
    /// every question (but for the children files, which are always read).
    void hold();
    void release();

    /// Whether there was a pass over all processes, so that the next finds their
    /// names known. Otherwise makes one over so many more than the one before.
    bool prepare(std::size_t more);

private:
    struct Known {
        NamedProcess process;
        ino_t inode{};        ///< of its folder, when it was listed
        pid_t parent{};       ///< 0 where it is not read
        clockid_t clock{};    ///< of its CPU time
        std::int64_t ran{};   ///< nanoseconds of CPU, read before the name; 0: unknown
        bool single_thread{}; ///< it had no other thread when it last ran
    };

    void look();
    void take_pass(std::size_t most);
    std::optional<Known> read_process(pid_t pid) const;
    std::optional<Known> read_with_parent(pid_t pid) const;
    std::optional<NamedProcess> name(pid_t pid);
    Known* find(pid_t pid);
    std::optional<std::vector<pid_t>> read_children(pid_t pid);
    std::optional<std::vector<NamedProcess>> children_by_pass(pid_t pid);

    std::string m_proc_root;
    bool m_has_children_files;
    bool m_held{};
    bool m_fresh{};          ///< m_known is of this hold
    bool m_whole{};          ///< nothing is missing in m_known
    bool m_prepared{};       ///< there was a pass over all processes
    std::size_t m_allowed{}; ///< processes that prepare() may look at in a pass
    std::vector<Known> m_known;
    std::vector<std::pair<pid_t, std::size_t>> m_by_parent; ///< indices into m_known
};

} // namespace platform
