// The supervisor's control messages.
#pragma once

#include "common/nyx_libevent.h"

#include <cstddef>

namespace nyx_monitor {

/// Waits for the link to the supervisor, or for its time-out; calls msg_check.
nyx::NYXEventLibEvent& message_check();

/// (Re)arms the message check on the link to the supervisor, with
/// "General.message_check_timeout_ms" (default 5000) as time-out. Throws as
/// require_armed() does.
void charge_msgchk();

/// Message check: reads what waits on the link, then re-arms itself. `events` are
/// what it was called for.
void msg_check(int, short events, void*);

/// Handles every message that waits, up to 1024. A link that fails is closed.
void read_msgs();

/// Closes the link for good: no component writes to its descriptor any more.
void close_supervisor_link();

/// Handles one message. One that is too short or of an unknown type is dropped
/// with a warning; one that is too long is warned about and obeyed.
void handle_ipc_msg(const unsigned char* msg, std::size_t size);

/// The three requests; each logs who asked. Terminate and stop break the loop,
/// reconfigure reloads the configuration.
void handle_term_msg(const unsigned char* msg, std::size_t size);
void handle_stop_msg(const unsigned char* msg, std::size_t size);
void handle_reconf_msg(const unsigned char* msg, std::size_t size);

} // namespace nyx_monitor
