// The node's health report: one JSON document a period.
#pragma once

#include "common/nyx_reconfigure.h"
#include "report/reporter.h"
#include "stats/interface_stats.h"
#include "stats/machine_info.h"
#include "stats/proc_stats_manager.h"

#include <map>
#include <string>

/// Collects, serialises, keeps a local copy and hands the text to the sender.
/// Lives until exit: it never takes itself off the configuration's list.
class VOSHealthReporter : public nyx::Reporter, public nyx::IReconfigure {
public:
    /// `name` is the report's path on the server. Registers with `conf` for
    /// reloads.
    VOSHealthReporter(nyx::AConfigurator* conf, const std::map<std::string, std::string>& params,
                      std::string name);

    std::string get_client_cert_path() override { return "/opt/vos/client.pem"; }
    /// The document's text (numbers with 10 significant digits). Also replaces
    /// the local copy. Throws std::runtime_error when a collector fails or the
    /// local copy can not be written.
    std::string create_report() override;

    void reconfigure() override;
    bool need_reconf(bool& enabled) override;

private:
    void load_local_json_report_path();
    void load_metadata();
    libvariant::Variant collect();
    void save_local_copy(const libvariant::Variant& root) const;

    nyx::AConfigurator* m_conf; ///< not owned
    nyx_monitor::MachineInfo m_machine_info{true};
    InterfaceStatsReport m_interface_report;
    std::string m_local_json_report_path;
    std::string m_datacenter_id;
};

/// The process's one set of monitored processes, created on first use.
ProcessesManager& processes_manager();
