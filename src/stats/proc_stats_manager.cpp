#include "stats/proc_stats_manager.h"

#include "platform/logger/sup_logger.h"
#include "platform/process/builtin_commands.h"
#include "platform/process/held_signal.h"

#include <iterator>

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("ProcessesManager");
    return instance;
}

std::vector<std::pair<int, std::string>> discover(int root_pid)
{
    const platform::SharedProcessPass pass;
    std::vector<std::pair<int, std::string>> found;
    Process::get_running_processes(root_pid, "watchdog", found); // what it found is good enough
    Process::get_running_services({"pluto", "bird", "keepalived"}, found);
    return found;
}

} // namespace

ProcessesManager::ProcessesManager(platform::ProcRoot root) : m_root(std::move(root)) {}

std::set<std::string> ProcessesManager::get_allowed_processes(bool vos)
{
    if (vos)
        return {"pluto", "vos", "vos_monitor", "owampd", "iperf3", "watchdog"};
    return {"nyx",   "nyx_monitor",  "wanproxy0", "watchdog", "qdns1",
            "qdns2", "nyx_ha_agent", "pluto",     "bird",     "keepalived"};
}

void ProcessesManager::calculate_processes_performance(const std::set<std::string>& allowed,
                                                       int root_pid)
{
    // A command a process: who waits for the daemon's end is not to wait for all.
    const platform::HeldSignal ending(SIGTERM);
    const auto found = discover(root_pid);
    if (platform::signal_waits(SIGTERM)) {
        logger().info("calculate_processes_performance: given up, the daemon is to end");
        return;
    }
    reset();
    ProcCpuStats::read_total_cpu_stats(m_root.path());
    // A process that was found in two ways is measured, and counted, twice.
    for (const auto& [pid, name] : found) {
        if (allowed.contains(name))
            measure(name, pid);
        else
            logger().trace("calculate_processes_performance: ignoring process ", name);
    }
    Process::update_system_stats(m_root.path());
    print_processes_information();
}

void ProcessesManager::measure(const std::string& name, int pid)
{
    logger().debug("calculate_processes_performance: checking process ", name, " (", pid, ")");
    const auto known = m_processes.find({name, pid});
    if (known != m_processes.end()) {
        known->second.read_stats(pid);
        logger().trace("calculate_processes_performance: Process exists in map - update its stats");
        return;
    }
    logger().trace("calculate_processes_performance: Process does not exist in map - create it");
    m_processes.emplace(std::pair{name, pid}, Process(name, pid, m_root));
}

void ProcessesManager::reset()
{
    Process::reset_globals();
    std::erase_if(m_processes, [](const auto& entry) {
        const auto& [name, pid] = entry.first;
        if (entry.second.is_alive()) {
            logger().trace("reset: Process ", name, "(", pid, ") is running");
            return false;
        }
        logger().debug("reset: Process ", name, " (", pid,
                       ") is not running, removing from processes list");
        return true;
    });
}

void ProcessesManager::print_processes_information() const
{
    logger().info("print_processes_information: printing processes information:");
    for (const auto& [key, process] : m_processes)
        process.print_proc_status();
    Process::print_system_stats();
}

std::vector<libvariant::Variant> ProcessesManager::generate_procs_report() const
{
    logger().debug("generate_procs_report: generating processes report");
    std::vector<libvariant::Variant> entries;
    for (const auto& [key, process] : m_processes)
        entries.push_back(process.generate_proc_report());
    Process::add_global_stats_to_report(entries);
    return entries;
}
