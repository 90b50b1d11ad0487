// The set of monitored processes, kept between report cycles.
#pragma once

#include "platform/variant/variant.h"
#include "stats/proc_stats.h"

#include <unistd.h>

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// Measures the process tree under the supervisor and a few network services,
/// as far as their names are allowed. Loop thread only.
class ProcessesManager {
public:
    explicit ProcessesManager(platform::ProcRoot root = {});

    /// The names that are measured. The agent asks for the `true` list; the
    /// other one is an alternative that nobody asks for.
    static std::set<std::string> get_allowed_processes(bool vos);

    /// One measuring cycle over `root_pid`, which counts as "watchdog", its
    /// descendants and the services. What can not be read has zero figures. A
    /// SIGTERM that comes while they are looked for ends the cycle, and the
    /// figures stay those of the last one; it is delivered after that.
    /// Throws std::runtime_error when the status record can not be unlocked.
    void calculate_processes_performance(const std::set<std::string>& allowed,
                                         int root_pid = ::getppid());
    /// Clears the cycle's accumulators and drops the processes that ended.
    void reset();
    /// Logs all figures at info level.
    void print_processes_information() const;
    /// One map per process, by name and then by process id, followed by the
    /// entries "other" and "idle". See Process::generate_proc_report().
    std::vector<libvariant::Variant> generate_procs_report() const;

private:
    void measure(const std::string& name, int pid);

    std::map<std::pair<std::string, int>, Process> m_processes;
    platform::ProcRoot m_root;
};
