// RAM of the monitored processes and of the machine, from /proc, in kB.
//
// Every failure is a warning and a 0 figure. Loop thread only.
#pragma once

#include "stats/system_perf_stat.h"

#include <cstdint>
#include <string>

/// The resident memory of one process, read at construction.
class ProcMemStats {
public:
    /// Reads /proc/meminfo and /proc/<pid>/status.
    explicit ProcMemStats(int pid, const std::string& proc_root = "/proc");

    /// Reads the machine's totals from /proc/meminfo; both are 0 when it can
    /// not be read.
    static void read_system_ram(const std::string& proc_root = "/proc");
    /// Reads /proc/<pid>/status, and adds what the process holds to the
    /// cycle's accumulator. Zombies and kernel threads hold nothing.
    void calculate_ram_usage();

    /// Percent of the machine's RAM.
    double ram_usage() const { return m_ram_usage; }
    std::int64_t rss_kb() const { return m_rss_kb; }

    /// Starts a cycle: accumulator and available RAM are 0.
    static void reset_accumulator();
    /// Fills system_stat() at the end of a cycle.
    static void update_system_mem_stats();

    /// "ram": the machine's memory in kB.
    static const SystemPerfStat<std::int64_t>& system_stat() { return m_system_stat; }

private:
    std::string m_status_path;
    std::int32_t m_pid;
    std::int64_t m_rss_kb{};
    double m_ram_usage{};

    static std::int64_t m_total_ram_kb;
    static std::int64_t m_available_ram_kb;
    static std::uint64_t m_monitored_rss_kb;
    static SystemPerfStat<std::int64_t> m_system_stat;
};
