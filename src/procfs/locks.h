// /proc/locks: which process holds which file. Pure.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace procfs {

/// A file as the kernel's list of locks names it.
struct LockedFile {
    unsigned device_major{}; ///< of the device that holds it
    unsigned device_minor{};
    std::uint64_t inode{};
    bool operator==(const LockedFile&) const = default;
};

/// /proc/locks: the ids of the processes that hold `file` by flock(), in the order
/// of the list; not those that wait for it, nor those that are not seen from this
/// process's pid namespace.
std::vector<int> parse_flock_holders(std::string_view text, const LockedFile& file);

} // namespace procfs
