#include "platform/file/atomic_file.h"

#include "platform/file/unique_fd.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>

namespace platform {

namespace {

[[noreturn]] void fail(const std::string& path, int error)
{
    throw std::runtime_error("Failed to write " + path + ": " + std::strerror(error));
}

/// 0, or the errno of the write that failed.
int write_all(int fd, std::string_view content)
{
    while (!content.empty()) {
        const auto written = ::write(fd, content.data(), content.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return written < 0 ? errno : EIO;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return 0;
}

} // namespace

void replace_file(const std::string& path, std::string_view content, std::optional<mode_t> mode)
{
    const std::string beside = path + ".tmp";
    // A fresh file of our own: never one that somebody laid there for us to follow.
    ::unlink(beside.c_str());
    UniqueFd fd(::open(beside.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                       mode.value_or(0644)));
    if (!fd.valid())
        fail(path, errno);
    // Past the umask, which has its say on the default alone.
    int error = mode && ::fchmod(fd.get(), *mode) != 0 ? errno : 0;
    if (error == 0)
        error = write_all(fd.get(), content);
    if (::close(fd.release()) != 0 && error == 0)
        error = errno;
    if (error == 0 && std::rename(beside.c_str(), path.c_str()) != 0)
        error = errno;
    if (error != 0) {
        ::unlink(beside.c_str());
        fail(path, error);
    }
}

} // namespace platform
