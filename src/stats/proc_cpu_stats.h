// CPU time of the monitored processes and of the machine, from /proc.
//
// All figures are clock ticks; only percentages leave. Loop thread only.
#pragma once

#include "stats/system_perf_stat.h"

#include <cstdint>
#include <string>

/// A cumulative tick count at two successive cycles.
struct TickAccumulator {
    std::uint64_t previous{};
    std::uint64_t current{};
    std::uint64_t difference{}; ///< current - previous, wrapping round

    /// Starts the next cycle, whose count is `now`.
    void shift(std::uint64_t now);
};

/// The CPU sampler of one process. A usage needs two samples, so it is kept
/// from cycle to cycle; the first sample measures against zero ticks.
class ProcCpuStats {
public:
    explicit ProcCpuStats(int pid, std::string proc_root = "/proc");

    /// Starts afresh for `pid`: all counters 0.
    void reset(int pid);
    /// Samples /proc/<pid>/stat and adds its cumulative ticks to the cycle's
    /// accumulator. A file that can not be read or parsed is warned about and
    /// leaves the tick counts.
    void read_proc_cpu_stats();
    /// Samples, then computes cpu_usage() from the ticks between the last two
    /// samples. Without a machine total it is 0, with a warning.
    void calc_cpu_usage();

    /// Percent; 100 is one core fully busy.
    double cpu_usage() const { return m_cpu_usage; }
    std::uint64_t last_ticks() const { return m_last_ticks; }
    std::uint64_t delta_ticks() const { return m_delta_ticks; }

    /// Samples the machine's ticks from /proc/stat. Once per cycle, before any
    /// calc_cpu_usage(). An unreadable file is warned about and changes nothing
    /// but num_of_cores().
    static void read_total_cpu_stats(const std::string& proc_root = "/proc");
    /// Starts a cycle of the monitored processes' ticks.
    static void reset_accumulator() { m_monitored_ticks.shift(0); }
    /// Fills system_stat() at the end of a cycle.
    static void update_system_cpu_stats();

    /// "cpu": the machine's ticks in the last cycle.
    static const SystemPerfStat<std::uint64_t>& system_stat() { return m_system_stat; }
    /// CPUs that the last total read listed.
    static std::int32_t num_of_cores() { return m_num_of_cores; }

private:
    std::int32_t m_pid;
    double m_cpu_usage{};
    std::uint64_t m_prev_ticks{};
    std::uint64_t m_last_ticks{};
    std::uint64_t m_delta_ticks{};
    std::string m_proc_root;

    static std::int32_t m_num_of_cores;
    static TickAccumulator m_total_ticks;
    static TickAccumulator m_idle_ticks;
    static TickAccumulator m_monitored_ticks;
    static SystemPerfStat<std::uint64_t> m_system_stat;
};
