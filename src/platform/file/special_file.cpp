#include "platform/file/special_file.h"

#include "platform/file/unique_fd.h"
#include "platform/file/write_all.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <ctime>

namespace platform {

namespace {

bool is_pipe(const std::string& path)
{
    struct stat found {};
    return ::stat(path.c_str(), &found) == 0 && S_ISFIFO(found.st_mode);
}

/// write_all() to a pipe whose reader may go meanwhile.
int write_without_signal(int fd, std::string_view content)
{
    sigset_t pipe_signal;
    sigset_t before;
    ::sigemptyset(&pipe_signal);
    ::sigaddset(&pipe_signal, SIGPIPE);
    ::pthread_sigmask(SIG_BLOCK, &pipe_signal, &before);
    const int error = write_all(fd, content);
    const timespec at_once{};
    if (error == EPIPE)
        ::sigtimedwait(&pipe_signal, nullptr, &at_once); // ours; it is not to be delivered
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

} // namespace

int write_special_file(const std::string& path, std::string_view content)
{
    const UniqueFd fd(::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!fd.valid())
        return errno == ENXIO && is_pipe(path) ? 0 : errno;
    const int error = write_without_signal(fd.get(), content);
    return error == EPIPE ? 0 : error;
}

} // namespace platform
