// Whether a file is still the one that was read, told without opening it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

namespace platform {

/// What changes with a file's content. Times are nanoseconds since 1970.
struct FileStamp {
    dev_t device{};
    ino_t inode{};
    off_t size{};
    std::int64_t modified{};
    std::int64_t changed{}; ///< content or what the system knows of it: can not be set back
    bool operator==(const FileStamp&) const = default;
};

/// That of the regular file at `path`, links followed. Nothing when there is
/// none; one stat().
std::optional<FileStamp> stamp_of(const std::string& path);

/// Whether another change is sure to give another stamp. For a while after the
/// last one it may not: a file system's clock is as coarse as a second.
bool is_settled(const FileStamp& stamp);

} // namespace platform
