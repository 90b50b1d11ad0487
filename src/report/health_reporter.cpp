#include "report/health_reporter.h"

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

VOSHealthReporter::VOSHealthReporter(nyx::AConfigurator* conf,
                                     const std::map<std::string, std::string>& params,
                                     std::string name)
    : nyx::Reporter(conf, params, std::move(name)), nyx::IReconfigure("VOSHealthReporter"),
      m_conf(conf)
{
    conf->register_reconfiguration_cb(this);
    load_local_json_report_path();
    load_metadata();
}

void VOSHealthReporter::reconfigure()
{
    load_local_json_report_path();
    load_metadata();
}

bool VOSHealthReporter::need_reconf(bool&)
{
    return true;
}

void VOSHealthReporter::load_local_json_report_path()
{
    const auto before = m_local_json_report_path;
    if (!m_conf->config.lookupValue("Monitoring.local_json_report_path",
                                    m_local_json_report_path)) {
        logger().error("Failed to load path of JSON report file, not saving reports locally - "
                       "might impact VOS health monitoring!");
        m_local_json_report_path.clear();
    } else if (m_local_json_report_path != before) {
        logger().info("Updated local JSON report path to ",
                      m_local_json_report_path.empty() ? "<empty>" : m_local_json_report_path);
    }
}

void VOSHealthReporter::load_metadata()
{
    if (!m_conf->config.lookupValue("General.datacenter_id", m_datacenter_id)) {
        logger().error("Failed to load datacenter id");
        m_datacenter_id = "N/A";
    }
}

/// Every figure of the processes comes from one measuring cycle, which runs
/// after the machine's and before anything reads its counters.
Variant VOSHealthReporter::collect()
{
    auto machine = m_machine_info.generate_machine_info_report();
    auto& manager = processes_manager();
    manager.calculate_processes_performance(ProcessesManager::get_allowed_processes(true));
    Variant root = Variant::object();
    root["version"] = document_version;
    root["timestamp"] = nyx::Helper::get_timestamp_gmt_format();
    root["machine-info"] = std::move(machine);
    root["processes_stats"] = manager.generate_procs_report();
    root["processes"] = processes_summary();
    root["datacenter_id"] = m_datacenter_id;
    root["interfaces"] = m_interface_report.collect_network_report();
    return root;
}

std::string VOSHealthReporter::create_report()
{
    const auto root = collect();
    auto text = libvariant::write_json(root, {{"pretty", true}, {"precision", transmitted_digits}});
    save_local_copy(root);
    return text;
}

void VOSHealthReporter::save_local_copy(const Variant& root) const
{
    if (m_local_json_report_path.empty()) {
        logger().info("Local JSON report path is not configured, not creating it - might affect "
                      "VOS health monitoring!");
        return;
    }
    logger().info("Creating local JSON report path at ", m_local_json_report_path);
    // All digits here: whoever reads the local copy may want to compute with it.
    libvariant::write_json_file(m_local_json_report_path, root, {{"pretty", true}});
}
