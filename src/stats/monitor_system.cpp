#include "stats/monitor_system.h"

#include "platform/file/text_file.h"
#include "platform/logger/sup_logger.h"
#include "procfs/stat.h"
#include "utils/commands.h"
#include "utils/nyx_helper.h"
#include "utils/nyx_status_data.h"

#include <limits>
#include <stdexcept>

namespace {

/// One firewall chain whose drops are counted.
struct DropChain {
    const char* operation; ///< as the log names it
    const char* read_command;
    const char* zero_command;
    const char* no_counter;
    std::uint32_t nyx_utils::NyxStatusData::*field;
};

constexpr DropChain icmp_flood{
    "get_icmp_flood_drop", "iptables -L ICMP_FLOOD 4 -nvx | awk '{print $1}'",
    "iptables -Z ICMP_FLOOD", "Failed to retrieve iptables ICMP counters",
    &nyx_utils::NyxStatusData::icmp_drops};

constexpr DropChain syn_flood{
    "get_syn_flood_drop", "iptables -L syn-rate-limit 2 -nvx | awk '{print $1}'",
    "iptables -Z syn-rate-limit", "Failed to retrieve iptables SYN flood counters",
    &nyx_utils::NyxStatusData::syn_drops};

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("MonitorSystem");
    return instance;
}

std::uint32_t read_and_zero(const DropChain& chain)
{
    const auto printed = nyx::Helper::run_cmd(chain.read_command);
    if (printed.empty()) {
        logger().error(chain.no_counter);
        return 0;
    }
    const auto count = std::stoul(printed);
    // Also when it is too large to give: it would be so for ever. Not by system(): it waits for
    // ever, and a hung firewall lock would stop the loop.
    constexpr auto collect = platform::CommandOutput::standard_output;
    if (nyx_utils::run_command(chain.zero_command, collect).exit_code != 0)
        logger().warning("An error occurred while running:", chain.zero_command);
    if (count > std::numeric_limits<std::uint32_t>::max())
        throw std::out_of_range("stoul");
    return static_cast<std::uint32_t>(count);
}

std::uint32_t take_drops(const DropChain& chain)
{
    const auto count = read_and_zero(chain);
    nyx_utils::publish_status(logger(), chain.operation,
                              [&](auto& record) { record.*chain.field = count; });
    return count;
}

} // namespace

bool read_cpu_idle_time(unsigned long long& idle, const std::string& proc_root,
                        std::uint64_t* cores)
{
    const auto text = platform::read_record_file(proc_root + "/stat");
    const auto ticks = text ? procfs::parse_idle_ticks(*text) : std::nullopt;
    if (!ticks)
        return false;
    idle = *ticks;
    if (cores != nullptr)
        *cores = static_cast<std::uint64_t>(procfs::parse_cpu_times(*text).cores);
    return true;
}

std::uint32_t get_icmp_flood_drop()
{
    return take_drops(icmp_flood);
}

std::uint32_t get_syn_flood_drop()
{
    return take_drops(syn_flood);
}
