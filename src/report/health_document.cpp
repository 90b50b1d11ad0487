#include "report/health_document.h"

#include "config/keys.h"
#include "platform/logger/sup_logger.h"
#include "stats/proc_cpu_stats.h"
#include "stats/proc_fd_stats.h"
#include "stats/proc_mem_stats.h"
#include "utils/nyx_helper.h"

#include <utility>

namespace {

using libvariant::Variant;

constexpr double document_version = 0.1;
constexpr int transmitted_digits = 10;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("VOSHealthReporter");
    return instance;
}

Variant processes_summary()
{
    const auto& cpu = ProcCpuStats::system_stat();
    const auto& ram = ProcMemStats::system_stat();
    return {{"fd_max_ratio", ProcFdStats::max_fd_ratio()},
            {"cpu", cpu.percent_of_total(cpu.velmarin)},
            {"ram", ram.percent_of_total(ram.velmarin)}};
}

} // namespace

ProcessesManager& processes_manager()
{
    static ProcessesManager manager;
    return manager;
}

HealthDocument::HealthDocument(nyx::AConfigurator* conf)
    : HealthDocument(conf, "/proc", processes_manager())
{
}

HealthDocument::HealthDocument(nyx::AConfigurator* conf, const std::string& proc_root,
                               ProcessesManager& processes)
    : m_conf(conf), m_processes(processes), m_machine_info(true, proc_root),
      m_interface_report(proc_root)
{
}

void HealthDocument::load_metadata()
{
    if (!m_conf->config.lookupValue(config::key::datacenter_id, m_datacenter_id)) {
        logger().error("Failed to load datacenter id");
        m_datacenter_id = "N/A";
    }
}

/// Every figure of the processes comes from one measuring cycle, which runs
/// after the machine's and before anything reads its counters.
Variant HealthDocument::collect(int root_pid)
{
    auto machine = m_machine_info.generate_machine_info_report();
    m_processes.calculate_processes_performance(ProcessesManager::get_allowed_processes(true),
                                                root_pid);
    Variant root = Variant::object();
    root["version"] = document_version;
    root["timestamp"] = nyx::Helper::get_timestamp_gmt_format();
    root["machine-info"] = std::move(machine);
    root["processes_stats"] = m_processes.generate_procs_report();
    root["processes"] = processes_summary();
    root["datacenter_id"] = m_datacenter_id;
    root["interfaces"] = m_interface_report.collect_network_report();
    return root;
}

std::string HealthDocument::transmitted_text(Variant root)
{
    return libvariant::write_json(std::move(root),
                                  {{"pretty", true}, {"precision", transmitted_digits}});
}
