// The intervals that the loop is woken at, kept within bounds.
#pragma once

#include <libconfig.h++>

namespace nyx_monitor {

/// To be called at every load of the configuration, before the two settings are
/// read: "General.polling_rate_ms" and "General.message_check_timeout_ms" below
/// config::least_interval_ms become that, which the loop can bear; one outside
/// of 31 bits, of which libconfig would make another number, is taken out of the
/// tree and so counts as missing. Each gives one warning with key and value. A
/// number as it is written is read from the file that the setting is from.
void bound_intervals(libconfig::Config& config);

} // namespace nyx_monitor
