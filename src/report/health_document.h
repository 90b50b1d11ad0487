// What a health report says: the figures of this machine as one document.
#pragma once

#include "common/nyx_configurator.h"
#include "platform/variant/variant.h"
#include "stats/interface_stats.h"
#include "stats/machine_info.h"
#include "stats/proc_stats_manager.h"

#include <unistd.h>

#include <string>

/// Collects one document at a time. Rates and CPU shares are those since the
/// document before. Loop thread only.
class HealthDocument {
public:
    /// `conf` is not owned and must outlive this. Starts the CPU sampler's
    /// thread; throws what MachineInfo's constructor throws.
    explicit HealthDocument(nyx::AConfigurator* conf);

    /// The same of the proc file system at `proc_root`; its processes are for
    /// `processes` to measure, which is not owned and must outlive this.
    HealthDocument(nyx::AConfigurator* conf, const std::string& proc_root,
                   ProcessesManager& processes);

    /// Reads "General.datacenter_id", the one setting that the collectors do
    /// not follow themselves.
    void load_metadata();

    /// The document; `root_pid` is the process under which the monitored ones
    /// are looked for. Throws when a collector fails.
    libvariant::Variant collect(int root_pid = ::getppid());

    /// The text that is sent: numbers with 10 significant digits.
    static std::string transmitted_text(libvariant::Variant root);

private:
    nyx::AConfigurator* m_conf;    ///< not owned
    ProcessesManager& m_processes; ///< not owned
    nyx_monitor::MachineInfo m_machine_info;
    InterfaceStatsReport m_interface_report;
    std::string m_datacenter_id;
};

/// The process's one set of monitored processes, created on first use.
ProcessesManager& processes_manager();
