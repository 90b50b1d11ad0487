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

/// A fresh file of our own: never one that somebody laid there for us to follow.
UniqueFd create(const std::string& path, mode_t mode)
{
    ::unlink(path.c_str());
    return UniqueFd(
        ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
}

/// 0 or an errno. Who may not give files away (EPERM; EINVAL to an owner that
/// this user namespace does not know) keeps them: the content matters more.
int give_to(int fd, uid_t owner, gid_t group)
{
    const bool given = ::fchown(fd, owner, group) == 0 || errno == EPERM || errno == EINVAL;
    return given ? 0 : errno;
}

} // namespace

void remove_leftover(const std::string& path)
{
    ::unlink((path + ".tmp").c_str());
}

void replace_file(const std::string& path, std::string_view content, std::optional<mode_t> mode)
{
    const std::string beside = path + ".tmp";
    struct stat old {};
    const bool replaces = ::lstat(path.c_str(), &old) == 0 && S_ISREG(old.st_mode);
    if (replaces && !mode)
        mode = old.st_mode & ALLPERMS;
    // Nobody is to read it before it is as closed as it will be.
    auto fd = create(beside, mode ? S_IRUSR | S_IWUSR : 0644);
    if (!fd.valid())
        fail(path, errno);
    int error = replaces ? give_to(fd.get(), old.st_uid, old.st_gid) : 0;
    if (error == 0 && mode && ::fchmod(fd.get(), *mode) != 0)
        error = errno;
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

void create_private_file(const std::string& path, std::string_view content)
{
    UniqueFd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd.valid())
        fail(path, errno);
    int error = write_all(fd.get(), content);
    if (::close(fd.release()) != 0 && error == 0)
        error = errno;
    if (error == 0)
        return;
    ::unlink(path.c_str());
    fail(path, error);
}

} // namespace platform
