// File descriptors of the monitored processes and of the machine, from /proc.
//
// Every failure is a warning and a 0 figure. Loop thread only.
#pragma once

#include "platform/file/proc_root.h"
#include "stats/system_perf_stat.h"

#include <cstdint>
#include <string>

/// The descriptors of one process, read at construction.
class ProcFdStats {
public:
    /// Looks at /proc/<pid>/fd, and takes the limit from the kernel or from
    /// /proc/<pid>/limits.
    explicit ProcFdStats(int pid, const platform::ProcRoot& root = {});

    /// Counts the entries of /proc/<pid>/fd into the cycle's accumulator.
    void calculate_fd_count();
    /// Asks the kernel for the hard limit (prlimit) where `root` has ids for that,
    /// and reads /proc/<pid>/limits where it has not, or does not answer.
    void calculate_fd_limit();
    /// Divides the two, and raises the cycle's maximum.
    void calculate_fd_ratio();

    /// Entries of the folder. "." and ".." count as well, so this is two more
    /// than the process has open.
    std::int32_t fd_count() const { return m_fd_count; }
    /// Hard limit of open files; 0 when it is unknown or unlimited.
    std::int32_t fd_limit() const { return m_fd_limit; }
    /// fd_count / fd_limit, a fraction; 0 when it can not be computed.
    double fd_ratio() const { return m_fd_ratio; }

    /// Starts a cycle: accumulator and maximum are 0.
    static void reset_accumulator();
    /// Reads /proc/sys/fs/file-nr and fills system_stat() at the end of a
    /// cycle. A file that can not be read or parsed makes all four counters 0.
    static void update_system_fd_stats(const std::string& proc_root = "/proc");

    /// "fd": the machine's descriptors.
    static const SystemPerfStat<std::int32_t>& system_stat() { return m_system_stat; }
    /// The largest fd_ratio() of the cycle.
    static double max_fd_ratio() { return m_max_fd_ratio; }

private:
    std::int32_t m_pid;
    std::int32_t m_fd_count{};
    std::int32_t m_fd_limit{};
    double m_fd_ratio{};
    platform::ProcRoot m_root;

    static double m_max_fd_ratio;
    static std::uint32_t m_monitored_fds;
    static std::int32_t m_allocated_fds;
    static std::int32_t m_maximum_fds;
    static SystemPerfStat<std::int32_t> m_system_stat;
};
