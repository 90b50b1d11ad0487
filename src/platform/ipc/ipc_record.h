// The records that the programs of one node send each other, as values. Pure.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Message types.
enum : std::uint16_t {
    ipc_heartbeat = 1,
    ipc_reconfigure = 2,
    ipc_terminate = 5,
    ipc_stop = 11,
    ipc_hello = 100,         ///< first record of the daemon on the control link
    ipc_done = 101,          ///< supervisor to a tool: forwarded
    ipc_no_daemon = 102,     ///< supervisor to a tool: no daemon on the link
    ipc_status = 110,        ///< tool to supervisor: how is the daemon?
    ipc_status_answer = 111, ///< supervisor to a tool: a record, then JSON text
    ipc_node_status = 112,   ///< daemon to supervisor: a record, then JSON text
};

/// In the daemon's environment with the value "1": its supervisor knows the
/// records of type ipc_node_status and wants them.
constexpr const char* node_status_variable = "VOS_NODE_STATUS";

/// One record, host byte order. The names are NUL-terminated by those who
/// write them; who reads must not rely on it.
struct __attribute__((packed)) ipcmsg_t {
    std::uint16_t type;
    char sender[16];
    char destination[38];
};
static_assert(sizeof(ipcmsg_t) == 56);

/// Fills a record; names that are too long are cut.
void init_ipc_hdr(ipcmsg_t* message, std::uint16_t type, const char* sender,
                  const char* destination);

/// A message as received.
struct IpcMessage {
    std::uint16_t type{};
    std::string sender;
    std::string destination;
    std::string_view text; ///< behind the record; lies in the bytes that were parsed
};

/// Reads the `size` bytes of one message. Nothing when they are no whole
/// record; never reads past a name field.
std::optional<IpcMessage> parse_ipc_message(const void* bytes, std::size_t size);
