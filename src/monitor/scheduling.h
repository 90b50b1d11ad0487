// Building a report once a period, driving its transfer, following reloads.
#pragma once

#include "common/nyx_libevent.h"

namespace nyx_monitor {

/// The two timers, one-shot each; their callbacks follow.
nyx::NYXEventLibEventTimer& schedule_timer();
nyx::NYXEventLibEventTimer& send_timer();

/// Arm them, due in `ms` milliseconds, 0 on the next loop turn. Throw as
/// require_armed() does, and so does whatever arms them.
void charge_schedule_timer(unsigned int ms);
void charge_send_timer(unsigned int ms);

/// Schedule timer: re-arms itself, then builds a report and starts to send it.
/// With a period of 0 or less it does neither.
void vos_monitor_schedule_et(int, short, void*);

/// Send timer: drives the pending transfer, then re-arms itself.
void send_reports(int, short, void*);

/// Reads the configuration again, with the components that follow it, and
/// switches reporting on or off. A timer that is pending stays as it is: a
/// changed period counts from its next firing.
void reconf_handler_cb();

} // namespace nyx_monitor
