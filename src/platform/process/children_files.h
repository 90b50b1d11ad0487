// /proc/<pid>/task/<tid>/children: which processes the threads of a process have
// started.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace platform {

/// A child of a thread. Each thread also stands by itself, with a child of 0.
struct ThreadsChild {
    pid_t thread{};
    pid_t child{};
    bool operator==(const ThreadsChild&) const = default;
};
using Family = std::vector<ThreadsChild>;

/// Whether the kernel offers these files, and the ids in them are those that
/// system calls of this process understand: not so in a /proc of another
/// namespace.
bool offers_children_files(const std::string& proc_root);

/// One reading of all threads of `pid`, or of the one that has its id where it is
/// known to be the `only_thread`. Nothing when one could not be read. The kernel
/// holds nothing meanwhile. A thread that ends gives its children to another,
/// which may have been read before; a child that goes may hide the next.
std::optional<Family> read_family(const std::string& proc_root, pid_t pid, bool only_thread);

/// Whether the family has one thread alone.
bool is_single(const Family& family);
/// The children, ascending.
std::vector<pid_t> children_of(const Family& family);

} // namespace platform
