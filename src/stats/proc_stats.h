// One monitored process, and the machine-wide operations of a measuring cycle.
//
// A cycle calls, in this order: reset_globals(),
// ProcCpuStats::read_total_cpu_stats(), read_stats() or construction for every
// process, update_system_stats(), then the print and report operations. Loop
// thread only.
#pragma once

#include "platform/file/proc_root.h"
#include "platform/variant/variant.h"
#include "stats/proc_cpu_stats.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

class Process {
public:
    /// Reads the figures at once; the first CPU figure is measured against
    /// zero ticks.
    Process(std::string name, int pid, const platform::ProcRoot& root = {});

    /// Reads RAM, CPU and descriptors of the process from /proc. Never fails:
    /// a process that does not run, or whose `pid` is not the one before,
    /// has 0 everywhere in this cycle.
    void read_stats(int pid);
    /// Whether the process answers. One of another user does not, unless this
    /// process may signal it.
    bool is_alive() const;

    /// Logs the figures at info level.
    void print_proc_status() const;
    /// A map: "process_name", and "ram", "cpu" (percent) and "fd" (fraction).
    libvariant::Variant generate_proc_report() const;

    /// Clears the accumulators of all statistics classes for a new cycle.
    static void reset_globals();
    /// Fills the machine-wide counters from what the cycle has accumulated,
    /// and publishes the largest descriptor ratio in the status record. Throws
    /// std::runtime_error when the record's semaphore can not be given back.
    static void update_system_stats(const std::string& proc_root = "/proc");
    /// Logs the machine-wide counters in percent at info level.
    static void print_system_stats();

    /// Appends (pid, service) for every process that pgrep finds under the
    /// name of one of `services`; several per service are possible. Both give
    /// up what is left when a held SIGTERM waits (platform/process/held_signal.h).
    static void get_running_services(const std::vector<std::string>& services,
                                     std::vector<std::pair<int, std::string>>& out);
    /// Appends (pid, name) and all descendants of `pid` under the names that
    /// pgrep prints, depth first. False when `name` is blank or pgrep fails;
    /// what was found before stays in `out`.
    static bool get_running_processes(int pid, const std::string& name,
                                      std::vector<std::pair<int, std::string>>& out);

    /// Appends the maps "other" and "idle": the shape of
    /// generate_proc_report(), all figures percent of the machine.
    static void add_global_stats_to_report(std::vector<libvariant::Variant>& entries);

private:
    void clear_figures();

    std::string m_name;
    std::int32_t m_pid;
    double m_ram_usage{}; ///< percent
    double m_fd_ratio{};  ///< fraction
    double m_cpu_usage{}; ///< percent of one core
    ProcCpuStats m_cpu_stats;
    platform::ProcRoot m_root;
};
