#include "stats/machine_info.h"

#include "common/nyx_configurator.h"
#include "platform/logger/sup_logger.h"
#include "platform/process/builtin_commands.h"
#include "utils/nyx_helper.h"

#include <limits>
#include <stdexcept>

namespace nyx_monitor {

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("MachineInfo");
    return instance;
}

} // namespace

MachineInfo::MachineInfo(bool dual, const std::string& proc_root)
    : nyx::IReconfigure("MachineInfo"), m_ram_info(proc_root), m_cpu_info(dual, proc_root),
      m_dual(dual)
{
    nyx::TheConfigurator::get_configuration().register_reconfiguration_cb(this);
    update_params();
    m_quiet_node = nyx::Helper::is_kln();
}

bool MachineInfo::need_reconf(bool&)
{
    return true;
}

void MachineInfo::reconfigure()
{
    update_params();
}

void MachineInfo::update_params()
{
    try {
        m_id = nyx::Helper::get_my_id(m_dual);
        m_external_ip = nyx::Helper::get_external_ip(m_dual);
        logger().debug("Updated params: id = ", m_id, ", external ip = ", m_external_ip);
    } catch (const std::runtime_error& error) {
        logger().error("Failed to reload configuration: ", error.what());
        m_id = "N/A";
        m_external_ip = "N/A";
    }
}

libvariant::Variant MachineInfo::generate_machine_info_id_report() const
{
    return {{"id", m_id}, {"ip_address", m_external_ip}};
}

libvariant::Variant MachineInfo::generate_machine_info_report()
{
    auto report = generate_machine_info_id_report();
    report["cpu"] = m_cpu_info.generate_cpu_info_report();
    report["ram"] = m_ram_info.generate_ram_info_report();
    if (!m_quiet_node)
        print_process_cpu_and_ram();
    return report;
}

void MachineInfo::print_process_cpu_and_ram() const
{
    const long bytes = tcp_memory_bytes(nyx::Helper::run_cmd(platform::tcp_pages_command));
    logger().info("print_process_cpu_and_ram: TCP memory consumption is : ", bytes, " bytes");
}

long tcp_memory_bytes(const std::string& pages)
{
    constexpr long page_size = 4096;
    constexpr long most = std::numeric_limits<long>::max() / page_size;
    const long count = std::stol(pages);
    if (count > most || count < -most)
        throw std::out_of_range("TCP memory of " + std::to_string(count) + " pages");
    return count * page_size;
}

} // namespace nyx_monitor
