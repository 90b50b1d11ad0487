#include "platform/file/file_stamp.h"

#include "platform/file/regular_file.h"

#include <ctime>

namespace platform {

namespace {

constexpr std::int64_t second = 1'000'000'000;

std::int64_t nanoseconds(const timespec& time)
{
    return time.tv_sec * second + time.tv_nsec;
}

} // namespace

std::optional<FileStamp> stamp_of(const std::string& path)
{
    const auto found = stat_regular_file(path);
    if (!found)
        return std::nullopt;
    return FileStamp{found->st_dev, found->st_ino, found->st_size, nanoseconds(found->st_mtim),
                     nanoseconds(found->st_ctim)};
}

bool is_settled(const FileStamp& stamp)
{
    timespec now{};
    ::clock_gettime(CLOCK_REALTIME, &now);
    return nanoseconds(now) - stamp.changed > second; // not after the clock stepped back, either
}

} // namespace platform
