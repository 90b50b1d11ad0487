#include "platform/file/atomic_file.h"

#include "platform/file/special_file.h"
#include "platform/file/temporary_name.h"
#include "platform/file/unique_fd.h"
#include "platform/file/while_waiting.h"
#include "platform/file/write_all.h"

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

/// 0 or an errno.
int close_file(UniqueFd& fd)
{
    return ::close(fd.release()) == 0 ? 0 : errno;
}

/// Writes the file that is to take the place of `old`, if there is one. 0 or an
/// errno.
int write_beside(const std::string& beside, std::string_view content, const struct stat* old,
                 const Replacement& how)
{
    auto mode = how.mode;
    if (old != nullptr && !mode)
        mode = old->st_mode & ALLPERMS;
    // Nobody is to read it before it is as closed as it will be.
    auto fd = create(beside, mode ? S_IRUSR | S_IWUSR : 0644);
    if (!fd.valid())
        return errno;
    int error = old != nullptr ? give_to(fd.get(), old->st_uid, old->st_gid) : 0;
    if (error == 0 && mode && ::fchmod(fd.get(), *mode) != 0)
        error = errno;
    if (error == 0)
        error = write_all(fd.get(), content);
    while_waiting();
    if (error == 0 && how.synced && ::fsync(fd.get()) != 0)
        error = errno;
    const int close_error = close_file(fd);
    return error != 0 ? error : close_error;
}

/// 0 or an errno. The room is taken first: a full disk leaves the old content.
int write_in_place(const std::string& path, std::string_view content)
{
    UniqueFd fd(::open(path.c_str(), O_RDWR | O_NOFOLLOW | O_CLOEXEC));
    struct stat old {};
    if (!fd.valid() || ::fstat(fd.get(), &old) != 0)
        return errno;
    const auto size = static_cast<off_t>(content.size());
    if (const int error = size > 0 ? ::posix_fallocate(fd.get(), 0, size) : 0; error != 0)
        return ::ftruncate(fd.get(), old.st_size) == 0 ? error : errno;
    if (const int error = write_all(fd.get(), content); error != 0)
        return error;
    if (::ftruncate(fd.get(), size) != 0 || ::fsync(fd.get()) != 0)
        return errno;
    return close_file(fd);
}

/// A failure is not told of: the file has its new content, and keeps it but for a
/// power cut in the next seconds.
void sync_folder(const std::string& folder)
{
    const UniqueFd fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.valid())
        ::fsync(fd.get());
}

/// 0 or an errno.
int replace_regular_file(const std::string& path, std::string_view content, const struct stat* old,
                         const Replacement& how)
{
    const auto beside = temporary_name(path);
    int error = write_beside(beside, content, old, how);
    while_waiting();
    if (error == 0 && std::rename(beside.c_str(), path.c_str()) != 0)
        error = errno;
    while_waiting();
    if (error == 0) {
        if (how.synced)
            sync_folder(folder_of(path));
        return 0;
    }
    if (how.in_place && (error == EBUSY || error == EXDEV))
        error = write_in_place(path, content);
    ::unlink(beside.c_str());
    return error;
}

} // namespace

void replace_file(const std::string& path, std::string_view content, const Replacement& how)
{
    // Through the links, as the kernel follows them: it knows of some that are not
    // to be followed, such as a stranger's in a folder that all may write to.
    struct stat old {};
    const bool exists = ::stat(path.c_str(), &old) == 0;
    int error = exists || errno == ENOENT ? 0 : errno;
    if (error == 0)
        error =
            exists && !S_ISREG(old.st_mode)
                ? write_special_file(path, content)
                : replace_regular_file(resolve_links(path), content, exists ? &old : nullptr, how);
    if (error != 0)
        fail(path, error);
}

void create_private_file(const std::string& path, std::string_view content)
{
    UniqueFd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
    if (!fd.valid())
        fail(path, errno);
    int error = write_all(fd.get(), content);
    const int close_error = close_file(fd);
    if (error == 0)
        error = close_error;
    if (error == 0)
        return;
    ::unlink(path.c_str());
    fail(path, error);
}

} // namespace platform
