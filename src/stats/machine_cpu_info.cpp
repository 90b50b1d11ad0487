#include "stats/machine_cpu_info.h"

#include "platform/logger/sup_logger.h"
#include "stats/monitor_system.h"
#include "utils/dual_nyx_helper.h"
#include "utils/nyx_status_data.h"

#include <cmath>
#include <stdexcept>
#include <utility>

namespace nyx_monitor {

std::uint64_t MachineCpuInfo::m_previous_idle{};
double MachineCpuInfo::m_previous_time{};

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("CPUInfo");
    return instance;
}

} // namespace

MachineCpuInfo::MachineCpuInfo(bool dual, std::string proc_root, std::uint64_t cores)
    : m_num_of_cores(cores), m_proc_root(std::move(proc_root))
{
    if (dual || nyx_utils::DualNYXHelper::instance().is_dual())
        m_sampler = std::make_unique<CPUStatSampler>(m_proc_root);
    if (m_num_of_cores == 0) {
        const std::string reason = "Could not determine number of CPU cores. Aborting.";
        logger().error(reason);
        throw std::runtime_error(reason);
    }
}

bool MachineCpuInfo::read_cpu(std::uint64_t now_ms)
{
    unsigned long long idle{};
    std::uint64_t cores{};
    if (!read_cpu_idle_time(idle, m_proc_root, &cores))
        return false;
    const bool same_cores = cores == m_num_of_cores || cores == 0;
    if (!same_cores)
        m_num_of_cores = cores;
    // Hundredths of a second, the unit of the idle counter.
    const double time = static_cast<double>(now_ms * 100) / 1000.0;
    if (m_previous_time == 0.0 || !same_cores) {
        m_total = 0.0;
    } else {
        m_total = usage_since_previous(idle, time);
        nyx_utils::publish_status(logger(), "",
                                  [this](auto& record) { record.cpu_usage = m_total; });
        logger().info("read_cpu: Total CPU usage: ", m_total, "%");
    }
    m_previous_idle = idle;
    m_previous_time = time;
    return true;
}

double MachineCpuInfo::usage_since_previous(unsigned long long idle, double time) const
{
    const std::uint64_t idle_difference = idle - m_previous_idle;
    const std::int64_t time_difference = std::llround(time - m_previous_time);
    const double usage =
        nyx::Helper::calc_usage_percentage(idle_difference, time_difference, m_num_of_cores);
    if (usage >= 0.0)
        return usage;
    logger().error("Negative total machine CPU usage: = ", usage);
    logger().error("Timestamp difference = ", time_difference,
                   " CPU idle time difference = ", idle_difference);
    return 0.0;
}

libvariant::Variant MachineCpuInfo::generate_cpu_info_report(std::uint64_t now_ms)
{
    if (read_cpu(now_ms))
        return serialize();
    if (nyx_utils::DualNYXHelper::instance().is_dual())
        logger().error("Couldn't calculate CPU average usage.");
    return libvariant::Variant::object();
}

libvariant::Variant MachineCpuInfo::serialize()
{
    int clock_skew_ms = 0;
    double steal_average_pct = 0.0;
    double steal_variance = 0.0;
    int num_of_samples = 0;
    // Without a sampler, or samples, the figures stay 0.
    if (m_sampler)
        m_sampler->get_stats(clock_skew_ms, steal_average_pct, steal_variance, num_of_samples);
    return {{"total", m_total},
            {"num-of-cores", m_num_of_cores},
            {"cores", libvariant::Variant::array()},
            {"cpu-stats",
             {{"steal-average-pct", steal_average_pct},
              {"steal-variance", steal_variance},
              {"clock-skew-ms", clock_skew_ms},
              {"num-of-samples", num_of_samples}}}};
}

} // namespace nyx_monitor
