#include "stats/proc_cpu_stats.h"

#include "platform/file/text_file.h"
#include "procfs/path.h"
#include "procfs/pid_stat.h"
#include "procfs/stat.h"

#include <iomanip>
#include <utility>

std::int32_t ProcCpuStats::m_num_of_cores{};
TickAccumulator ProcCpuStats::m_total_ticks;
TickAccumulator ProcCpuStats::m_idle_ticks;
TickAccumulator ProcCpuStats::m_monitored_ticks;
SystemPerfStat<std::uint64_t> ProcCpuStats::m_system_stat{"cpu"};

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("ProcCpuStats");
    return instance;
}

void trace_cpu_times(const procfs::MachineCpuTimes& machine)
{
    if (!logger().is_trace_enabled())
        return;
    if (machine.aggregate) {
        logger().trace("read_total_cpu_stats: CPU stats: ");
        for (std::size_t i = 0; i < machine.aggregate->columns; ++i)
            logger().trace("read_total_cpu_stats: total cpu stats for type '",
                           procfs::cpu_columns[i], "': ", machine.aggregate->ticks[i]);
    }
    for (std::int32_t id = 0; id < machine.cores; ++id)
        logger().trace("read_total_cpu_stats: read cpu id ", id);
}

} // namespace

void TickAccumulator::shift(std::uint64_t now)
{
    previous = current;
    current = now;
    difference = current - previous;
}

ProcCpuStats::ProcCpuStats(int pid, std::string proc_root)
    : m_pid(pid), m_proc_root(std::move(proc_root))
{
}

void ProcCpuStats::reset(int pid)
{
    *this = ProcCpuStats(pid, std::move(m_proc_root));
}

void ProcCpuStats::read_proc_cpu_stats()
{
    m_cpu_usage = 0.0;
    const auto path = procfs::path_of(m_proc_root, m_pid, "stat");
    const auto text = platform::read_record_file(path);
    if (!text) {
        logger().warning("read_proc_cpu_stats: Failed to read file ", path);
        return;
    }
    const auto ticks = procfs::parse_process_ticks(*text);
    if (!ticks) {
        logger().warning("read_proc_cpu_stats: Failed to parse file ", path);
        return;
    }
    logger().trace("read_proc_cpu_stats: Process ", m_pid, ": user time:", ticks->user,
                   ", kernel time:", ticks->kernel);
    m_prev_ticks = m_last_ticks;
    m_last_ticks = ticks->user + ticks->kernel;
    m_delta_ticks = m_last_ticks - m_prev_ticks;
    logger().trace("read_proc_cpu_stats: Process ", m_pid, ": last ticks: ", m_prev_ticks,
                   ", current ticks: ", m_last_ticks);
    // The cumulative figure, not the difference: the cycle began with minus the
    // previous sum, so a process that joins brings all its ticks in once.
    m_monitored_ticks.current += m_last_ticks;
    m_monitored_ticks.difference += m_last_ticks;
}

void ProcCpuStats::calc_cpu_usage()
{
    read_proc_cpu_stats();
    if (m_total_ticks.difference == 0) {
        logger().warning("calc_cpu_usage: Unable to calculate cpu usage for process ", m_pid);
        return;
    }
    m_cpu_usage = m_num_of_cores * 100.0 * static_cast<double>(m_delta_ticks) /
                  static_cast<double>(m_total_ticks.difference);
    logger().debug("calc_cpu_usage: CPU utilization for process ", m_pid, ": ", std::fixed,
                   std::setprecision(2), m_cpu_usage);
}

void ProcCpuStats::read_total_cpu_stats(const std::string& proc_root)
{
    m_num_of_cores = 0;
    const auto text = platform::read_record_file(proc_root + "/stat");
    if (!text) {
        logger().warning("read_total_cpu_stats: Failed to read ", proc_root, "/stat file");
        return;
    }
    const auto machine = procfs::parse_cpu_times(*text);
    m_num_of_cores = machine.cores;
    trace_cpu_times(machine);
    const auto times = machine.aggregate.value_or(procfs::CpuTimes{});
    if (machine.aggregate && times.columns < procfs::cpu_columns.size())
        logger().warning("read_total_cpu_stats: failed to read CPU stats for '",
                         procfs::cpu_columns[times.columns], "'");
    // The kernel counts the two guest columns within user and nice already;
    // the total has them twice all the same.
    const auto total = times.sum(procfs::cpu_columns.size());
    m_total_ticks.shift(total);
    m_idle_ticks.shift(times.ticks[procfs::idle_column]);
    logger().debug("read_total_cpu_stats: total CPU ticks: ", total,
                   ", num of cores: ", m_num_of_cores);
}

void ProcCpuStats::update_system_cpu_stats()
{
    m_system_stat.update_counters(m_total_ticks.difference, m_idle_ticks.difference,
                                  m_monitored_ticks.difference);
}
