// Building a report once a period, driving its transfer, following reloads.
#pragma once

#include <event2/util.h>

namespace nyx_monitor {

/// Schedule timer: re-arms itself, then builds a report and starts to send it.
void vos_monitor_schedule_et(evutil_socket_t, short, void*);

/// Send timer: drives the pending transfer, then re-arms itself.
void send_reports(evutil_socket_t, short, void*);

/// Reads the configuration again, tells the components, and switches reporting
/// on or off.
void reconf_handler_cb();

} // namespace nyx_monitor
