#include "platform/file/write_all.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds longest_wait{1};

/// False when `fd` takes nothing until `deadline`.
bool wait_for_room(int fd, Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    if (left.count() <= 0)
        return false;
    pollfd waiting{fd, POLLOUT, 0};
    ::poll(&waiting, 1, static_cast<int>(left.count())); // the next write tells what came of it
    return true;
}

} // namespace

int write_all(int fd, std::string_view content)
{
    const auto deadline = Clock::now() + longest_wait;
    while (!content.empty()) {
        const auto written = ::write(fd, content.data(), content.size());
        if (written < 0 && (errno == EINTR || (errno == EAGAIN && wait_for_room(fd, deadline))))
            continue;
        if (written <= 0)
            return written < 0 ? errno : EIO;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

} // namespace platform
