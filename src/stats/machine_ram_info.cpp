#include "stats/machine_ram_info.h"

#include "platform/file/text_file.h"
#include "platform/logger/sup_logger.h"
#include "text/words.h"
#include "utils/nyx_status_data.h"

#include <exception>
#include <utility>

namespace nyx_monitor {

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("RAMInfo");
    return instance;
}

} // namespace

bool read_parameter(std::string_view& text, double& value)
{
    value = 0.0;
    try {
        value = std::stod(std::string(text::next_word(text)));
    } catch (const std::exception&) {
        return false;
    }
    return true;
}

bool parse_machine_ram(std::string_view text, MachineRam& ram)
{
    while (true) {
        const auto word = text::next_word(text);
        if (word.empty())
            return true;
        double value{};
        if (word == "MemTotal:") {
            if (!read_parameter(text, ram.total))
                return false;
        } else if (word == "MemFree:" || word == "Cached:" || word == "Buffers:") {
            if (!read_parameter(text, value))
                return false;
            ram.not_used += value;
        }
    }
}

MachineRamInfo::MachineRamInfo(std::string proc_root) : m_proc_root(std::move(proc_root)) {}

bool MachineRamInfo::read_mem()
{
    MachineRam ram{.total = m_total};
    const auto text = platform::read_record_file(m_proc_root + "/meminfo");
    const bool parsed = parse_machine_ram(text.value_or(""), ram);
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
