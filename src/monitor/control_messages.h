// The supervisor's control messages.
#pragma once

#include <event2/util.h>

#include <cstddef>

namespace nyx_monitor {

/// (Re)arms the message check on the link to the supervisor, with
/// "General.message_check_timeout_ms" (default 5000) as time-out.
void charge_msgchk();

/// Message check: reads what waits on the link, then re-arms itself.
void msg_check(evutil_socket_t, short events, void*);

/// Handles every message that waits, up to 1024. A link that fails is closed for good.
void read_msgs();

/// Handles one message. One that is too short or of an unknown type is dropped
/// with a warning; one that is too long is warned about and obeyed.
void handle_ipc_msg(const unsigned char* msg, std::size_t size);

void handle_term_msg(const unsigned char* msg, std::size_t size);
void handle_stop_msg(const unsigned char* msg, std::size_t size);
void handle_reconf_msg(const unsigned char* msg, std::size_t size);

} // namespace nyx_monitor
