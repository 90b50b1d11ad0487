// Messages between the programs of one node: a fixed record, a control link to
// the supervisor, and heartbeat sockets.
//
// Sockets are AF_UNIX, non-blocking and close-on-exec, in ipc_dir(). Nothing
// here blocks and no send raises SIGPIPE. Errors are errno values.
#pragma once

#include "platform/ipc/ipc_record.h"

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <string>

/// The folder of the sockets: the environment variable VOS_IPC_DIR, or
/// /run/vos.
std::string ipc_dir();

/// Connects to the supervisor at <dir>/<family>.sock. 0 on success and the
/// caller owns *fd; otherwise an errno value and *fd is -1. A peer that is
/// neither root nor this user is refused with EACCES.
int connect_socket(int* fd, const char* family);

/// The same for the daemon: also says hello, with `name` as sender and the
/// agent's `id` as destination.
int start_socket_nyx(int* fd, const char* id, const char* name, const char* family);

/// Binds a datagram socket at <dir>/<name>.sock. A stale path is replaced, a
/// live one refused with EADDRINUSE. Results as of connect_socket.
int start_socket(int* fd, const char* name);

/// Listens for control links at <dir>/<family>.sock; otherwise as start_socket.
int listen_socket(int* fd, const char* family);

/// Sends one record over a control link, with `text` behind it. 0, or an errno
/// value.
int send_msg(int fd, const ipcmsg_t& message, const std::string& text = {});

/// Sends one record from the datagram socket `fd` to <dir>/<destination>.sock.
/// 0, or an errno value.
int dispatch_msg(std::uint16_t type, int fd, const char* sender, const char* destination);

/// Receives one record of any length: its length (what is beyond `capacity` is
/// lost), 0 when nothing waits, -1 on an error or when the other side has
/// closed the link.
ssize_t read_msg(int fd, void* buffer, std::size_t capacity, int flags);

/// The process at the other end of a connected socket; 0 when unknown.
pid_t ipc_peer_pid(int fd);

/// Whether the process at the other end of a connected socket is root's or
/// this user's.
bool ipc_peer_is_trusted(int fd);
