#include "platform/ipc/ipc.h"

#include "platform/file/unique_fd.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <utility>

namespace {

using platform::UniqueFd;

/// The address of <dir>/<name>.sock; false when the path is too long for one.
bool socket_address(const char* name, sockaddr_un* address)
{
    const std::string path = ipc_dir() + "/" + name + ".sock";
    *address = {};
    address->sun_family = AF_UNIX;
    if (path.size() >= sizeof address->sun_path)
        return false;
    std::memcpy(address->sun_path, path.c_str(), path.size() + 1);
    return true;
}

const sockaddr* generic(const sockaddr_un& address)
{
    return reinterpret_cast<const sockaddr*>(&address);
}

UniqueFd make_socket(int type)
{
    return UniqueFd(::socket(AF_UNIX, type | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

std::optional<ucred> peer_of(int fd)
{
    ucred peer{};
    socklen_t size = sizeof peer;
    if (::getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0)
        return std::nullopt;
    return peer;
}

/// Somebody else's folder could hold somebody else's sockets.
int check_folder()
{
    struct stat folder {};
    if (::stat(ipc_dir().c_str(), &folder) != 0)
        return errno;
    if (!S_ISDIR(folder.st_mode))
        return ENOTDIR;
    return folder.st_uid == 0 || folder.st_uid == ::geteuid() ? 0 : EACCES;
}

/// Binds `socket`, replacing a path that nobody listens on any more.
int bind_path(const UniqueFd& socket, int type, const sockaddr_un& address)
{
    if (::bind(socket.get(), generic(address), sizeof address) == 0)
        return 0;
    if (errno != EADDRINUSE)
        return errno;
    struct stat found {};
    if (::lstat(address.sun_path, &found) != 0 || !S_ISSOCK(found.st_mode))
        return EADDRINUSE;
    const UniqueFd probe = make_socket(type);
    if (::connect(probe.get(), generic(address), sizeof address) == 0 || errno != ECONNREFUSED)
        return EADDRINUSE;
    ::unlink(address.sun_path);
    return ::bind(socket.get(), generic(address), sizeof address) == 0 ? 0 : errno;
}

int open_bound(int* fd, const char* name, int type)
{
    *fd = -1;
    sockaddr_un address;
    if (!socket_address(name, &address))
        return ENAMETOOLONG;
    if (const int error = check_folder(); error != 0)
        return error;
    UniqueFd socket = make_socket(type);
    if (!socket.valid())
        return errno;
    // Only root and this user may connect. Set before the path exists, as the
    // path takes its mode from the socket.
    ::fchmod(socket.get(), 0600);
    if (const int error = bind_path(socket, type, address); error != 0)
        return error;
    *fd = socket.release();
    return 0;
}

} // namespace

std::string ipc_dir()
{
    const char* dir = std::getenv("VOS_IPC_DIR");
    return dir != nullptr && *dir != '\0' ? dir : "/run/vos";
}

pid_t ipc_peer_pid(int fd)
{
    return peer_of(fd).value_or(ucred{}).pid;
}

bool ipc_peer_is_trusted(int fd)
{
    const auto peer = peer_of(fd);
    return peer && (peer->uid == 0 || peer->uid == ::geteuid());
}

int connect_socket(int* fd, const char* family)
{
    *fd = -1;
    sockaddr_un address;
    if (!socket_address(family, &address))
        return ENAMETOOLONG;
    UniqueFd socket = make_socket(SOCK_SEQPACKET);
    if (!socket.valid() || ::connect(socket.get(), generic(address), sizeof address) != 0)
        return errno;
    if (!ipc_peer_is_trusted(socket.get()))
        return EACCES;
    *fd = socket.release();
    return 0;
}

int start_socket_nyx(int* fd, const char* id, const char* name, const char* family)
{
    if (const int error = connect_socket(fd, family); error != 0)
        return error;
    ipcmsg_t hello;
    init_ipc_hdr(&hello, ipc_hello, name, id);
    const int error = send_msg(*fd, hello);
    if (error != 0)
        ::close(std::exchange(*fd, -1));
    return error;
}

int start_socket(int* fd, const char* name)
{
    return open_bound(fd, name, SOCK_DGRAM);
}

int listen_socket(int* fd, const char* family)
{
    constexpr int backlog = 16;
    if (const int error = open_bound(fd, family, SOCK_SEQPACKET); error != 0)
        return error;
    if (::listen(*fd, backlog) == 0)
        return 0;
    const int error = errno;
    ::close(*fd);
    *fd = -1;
    return error;
}

int send_msg(int fd, const ipcmsg_t& message, const std::string& text)
{
    std::string whole(reinterpret_cast<const char*>(&message), sizeof message);
    whole += text;
    const auto sent = ::send(fd, whole.data(), whole.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    return sent == static_cast<ssize_t>(whole.size()) ? 0 : errno;
}

int dispatch_msg(std::uint16_t type, int fd, const char* sender, const char* destination)
{
    sockaddr_un address;
    if (!socket_address(destination, &address))
        return ENAMETOOLONG;
    ipcmsg_t message;
    init_ipc_hdr(&message, type, sender, destination);
    const auto sent = ::sendto(fd, &message, sizeof message, MSG_NOSIGNAL | MSG_DONTWAIT,
                               generic(address), sizeof address);
    return sent == static_cast<ssize_t>(sizeof message) ? 0 : errno;
}

ssize_t read_msg(int fd, void* buffer, std::size_t capacity, int flags)
{
    ssize_t length{};
    do
        length = ::recv(fd, buffer, capacity, flags | MSG_DONTWAIT);
    while (length < 0 && errno == EINTR);
    if (length < 0)
        return errno == EAGAIN ? 0 : -1;
    if (length > 0)
        return length;
    // An empty record and a closed link look alike until the link is asked.
    pollfd link{fd, POLLIN | POLLRDHUP, 0};
    ::poll(&link, 1, 0);
    if ((link.revents & (POLLHUP | POLLRDHUP)) == 0)
        return 0;
    char first{};
    return ::recv(fd, &first, 1, MSG_PEEK | MSG_DONTWAIT) > 0 ? 0 : -1;
}
