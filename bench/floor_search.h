// The least that finding the processes of a report can cost.
#pragma once

#include <sys/types.h>

#include <array>
#include <cstdint>
#include <vector>

/// Finds what a report is about, by the files that the daemon reads for it: the
/// list of all processes with a CPU clock each, the names of those whose clock has
/// moved, and the children of each process of a tree.
class FloorSearch {
public:
    /// The process `root`, all below it, and those whose name holds that of a service.
    std::vector<int> find(pid_t root);

private:
    struct Known {
        pid_t pid;
        std::int64_t ran; ///< nanoseconds
        std::array<char, 16> name;
    };

    void list_all();
    void add_tree(pid_t root, std::vector<int>& found);

    std::vector<Known> m_known; ///< ascending, as the kernel lists them
    std::vector<Known> m_seen;
};
