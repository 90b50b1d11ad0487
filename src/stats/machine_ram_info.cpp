#include "stats/machine_ram_info.h"

#include "platform/file/text_file.h"
#include "platform/logger/sup_logger.h"
#include "procfs/meminfo.h"
#include "utils/nyx_status_data.h"

#include <utility>

namespace nyx_monitor {

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("RAMInfo");
    return instance;
}

} // namespace

MachineRamInfo::MachineRamInfo(std::string proc_root) : m_proc_root(std::move(proc_root)) {}

bool MachineRamInfo::read_mem()
{
    procfs::MachineRam ram{.total = m_total};
    const auto text = platform::read_record_file(m_proc_root + "/meminfo");
    const bool parsed = procfs::parse_machine_ram(text.value_or(""), ram);
    m_total = ram.total;
    if (!parsed)
        return false;
    m_used = m_total - ram.not_used;
    const double fraction = m_total == 0.0 ? 0.0 : m_used / m_total;
    logger().info("read_mem: Total RAM used: ", fraction * 100.0, "%");
    nyx_utils::publish_status(logger(), "",
                              [fraction](auto& record) { record.ram_usage = fraction; });
    return true;
}

libvariant::Variant MachineRamInfo::generate_ram_info_report()
{
    if (read_mem())
        return {{"total", m_total}, {"used", m_used}};
    logger().error("Couldn't read RAM information.");
    return libvariant::Variant::object();
}

} // namespace nyx_monitor
