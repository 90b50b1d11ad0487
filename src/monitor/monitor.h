// What the modules of the daemon share: its configuration, reporter and log, the
// link to the supervisor, and the periods. All of it belongs to the loop thread.
// An event is not here but in the module whose callback it calls.
#pragma once

#include "common/nyx_configurator.h"
#include "common/nyx_libevent.h"
#include "common/nyx_logging.h"
#include "monitor/node_status_sender.h"
#include "platform/logger/sup_logger.h"
#include "report/reporter.h"

#include <cstdint>
#include <memory>
#include <string>

namespace nyx_monitor {

/// The configuration file of the daemon.
class VOSMonitorConfigurator : public nyx::AConfigurator {
public:
    VOSMonitorConfigurator() : nyx::AConfigurator("vos.conf", false) {}
};

/// The daemon's state. Constructing it touches nothing; main fills it in.
struct Monitor {
    nyx::NYXEventBase event_base;
    nyx::AConfigurator* configurator{nullptr}; ///< not owned, set first of all
    std::unique_ptr<NyxLoggingHandle> logging;
    std::unique_ptr<nyx::Reporter> reporter; ///< the health reporter; null until it is needed
    int ipc_fd{-1};                          ///< link to the supervisor, owned; -1 without
    std::int32_t report_freq_ms{0};          ///< "Monitoring.report_freq"
    std::uint32_t polling_rate_ms{0};        ///< "General.polling_rate_ms"
    NodeStatusSender node_status{ipc_fd, reporter};
};

/// The daemon.
Monitor& monitor();

/// Logger of the category "VOSMonitor".
SupLogger& monitor_logger();

/// For the result of arming an event that the daemon can not do without: unless
/// `armed`, one error record that names the event, and std::runtime_error, by which the
/// daemon ends. A new one is better than one that is deaf.
void require_armed(bool armed, const std::string& event);

/// To be called at every load of the configuration: bounds its intervals and
/// reads the two settings that reporting needs. False, and one record that says
/// why, when reporting is off; a value that was read before stays read.
bool verify_vos_monitor_conf();

} // namespace nyx_monitor
