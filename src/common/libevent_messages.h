// What becomes of libevent's own messages.
#pragma once

/// Has libevent log through libevent_event_log_cpp(), and end the process through
/// libevent_gives_up().
void route_libevent_messages();

/// Writes a message of libevent to the log, category "libevent". Leaves errno as it
/// is, as the logger does: libevent warns of a failed call before its caller looks
/// why it failed.
void libevent_event_log_cpp(int severity, const char* message);

/// Ends the process when libevent can not go on, which it has logged: with
/// status 1, or by abort() when libevent was used wrongly. No destructor runs,
/// since the events are in no known state.
[[noreturn]] void libevent_gives_up(int error);
