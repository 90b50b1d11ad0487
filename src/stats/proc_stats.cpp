#include "stats/proc_stats.h"

#include "stats/proc_fd_stats.h"
#include "stats/proc_mem_stats.h"
#include "utils/nyx_status_data.h"

#include <signal.h>

#include <iomanip>

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Process");
    return instance;
}

/// One counter of each of the three statistics, in percent of the machine.
struct Shares {
    const char* name;
    double ram;
    double cpu;
    double fd;
};

template <typename Counter>
Shares shares_of(const char* name, Counter counter)
{
    const auto percent = [counter](const auto& stat) {
        return stat.percent_of_total(counter(stat));
    };
    return {name, percent(ProcMemStats::system_stat()), percent(ProcCpuStats::system_stat()),
            percent(ProcFdStats::system_stat())};
}

Shares other_shares()
{
    return shares_of("other", [](const auto& stat) { return stat.other; });
}

Shares idle_shares()
{
    return shares_of("idle", [](const auto& stat) { return stat.idle; });
}

Shares velmarin_shares()
{
    return shares_of("velmarin", [](const auto& stat) { return stat.velmarin; });
}

libvariant::Variant report_entry(const std::string& name, double ram, double cpu, double fd)
{
    return {{"process_name", name}, {"ram", ram}, {"cpu", cpu}, {"fd", fd}};
}

} // namespace

Process::Process(std::string name, int pid, const platform::ProcRoot& root)
    : m_name(std::move(name)), m_pid(pid), m_cpu_stats(pid, root.path()), m_root(root)
{
    read_stats(pid);
}

void Process::read_stats(int pid)
{
    if (pid != m_pid) {
        // Reports zeros this once; two samples of one process make a usage.
        logger().debug("read_stats: process ", m_name, " changed PID to ", pid);
        m_pid = pid;
        m_cpu_stats.reset(pid);
        clear_figures();
        return;
    }
    if (!is_alive()) {
        logger().warning("read_stats: PID ", m_name, "(", m_pid,
                         ") is not running, not collecting stats");
        clear_figures();
        return;
    }
    logger().debug("read_stats: read performance statistics for process ", m_name, "(", m_pid, ")");
    m_cpu_stats.calc_cpu_usage();
    m_cpu_usage = m_cpu_stats.cpu_usage();
    m_ram_usage = ProcMemStats(m_pid, m_root.path()).ram_usage();
    m_fd_ratio = ProcFdStats(m_pid, m_root).fd_ratio();
}

void Process::clear_figures()
{
    m_ram_usage = 0.0;
    m_fd_ratio = 0.0;
    m_cpu_usage = 0.0;
}

bool Process::is_alive() const
{
    if (::kill(m_pid, 0) >= 0)
        return true;
    logger().debug("is_alive: Process ", m_pid, " is not running");
    return false;
}

void Process::print_proc_status() const
{
    logger().info(std::fixed, std::setprecision(2), "print_proc_status: process ", m_name, "(",
                  m_pid, "): RAM: ", m_ram_usage, "%, CPU: ", m_cpu_usage,
                  "%, FD ratio: ", m_fd_ratio);
}

libvariant::Variant Process::generate_proc_report() const
{
    return report_entry(m_name, m_ram_usage, m_cpu_usage, m_fd_ratio);
}

void Process::reset_globals()
{
    ProcCpuStats::reset_accumulator();
    ProcFdStats::reset_accumulator();
    ProcMemStats::reset_accumulator();
}

void Process::update_system_stats(const std::string& proc_root)
{
    ProcFdStats::update_system_fd_stats(proc_root);
    ProcMemStats::update_system_mem_stats();
    ProcCpuStats::update_system_cpu_stats();
    const double ratio = ProcFdStats::max_fd_ratio();
    logger().info("update_system_stats: max fd ratio of velmarin processes: ", ratio);
    nyx_utils::publish_status(logger(), "update_system_stats",
                              [ratio](auto& record) { record.max_fd_ratio = ratio; });
}

void Process::print_system_stats()
{
    for (const auto& shares : {other_shares(), idle_shares(), velmarin_shares()})
        logger().info(std::fixed, std::setprecision(2), "print_system_stats: total ", shares.name,
                      ": RAM: ", shares.ram, "%, CPU: ", shares.cpu, "%, FD: ", shares.fd, "%");
}

void Process::add_global_stats_to_report(std::vector<libvariant::Variant>& entries)
{
    // No entry for the monitored processes: they are reported one by one.
    for (const auto& shares : {other_shares(), idle_shares()})
        entries.push_back(report_entry(shares.name, shares.ram, shares.cpu, shares.fd));
}
