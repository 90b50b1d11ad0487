#include "stats/proc_mem_stats.h"

#include "platform/file/text_file.h"
#include "procfs/meminfo.h"
#include "procfs/path.h"
#include "procfs/pid_status.h"

std::int64_t ProcMemStats::m_total_ram_kb{};
std::int64_t ProcMemStats::m_available_ram_kb{};
std::uint64_t ProcMemStats::m_monitored_rss_kb{};
SystemPerfStat<std::int64_t> ProcMemStats::m_system_stat{"ram"};

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("ProcMemStats");
    return instance;
}

} // namespace

ProcMemStats::ProcMemStats(int pid, const std::string& proc_root)
    : m_status_path(procfs::path_of(proc_root, pid, "status")), m_pid(pid)
{
    read_system_ram(proc_root);
    calculate_ram_usage();
}

void ProcMemStats::read_system_ram(const std::string& proc_root)
{
    m_total_ram_kb = 0;
    m_available_ram_kb = 0;
    const auto path = proc_root + "/meminfo";
    const auto text = platform::read_record_file(path);
    if (!text) {
        logger().warning("read_system_ram: failed to read ", path);
        return;
    }
    // Both records say bytes though the numbers are kB; log readers know them so.
    const auto ram = procfs::parse_system_ram(*text);
    if (ram.total_kb) {
        m_total_ram_kb = *ram.total_kb;
        logger().debug("read_system_ram: total RAM on machine: ", m_total_ram_kb, " bytes");
    }
    if (ram.available_kb) {
        m_available_ram_kb = *ram.available_kb;
        logger().debug("read_system_ram: total idle RAM on machine: ", m_available_ram_kb,
                       " bytes (buffers and cached memory included)");
    }
}

void ProcMemStats::calculate_ram_usage()
{
    m_ram_usage = 0.0;
    const auto text = platform::read_record_file(m_status_path);
    if (!text) {
        logger().warning("calculate_ram_usage: failed to read RAM usage for PID ", m_pid);
        return;
    }
    const auto memory = procfs::parse_process_memory(*text);
    if (memory.zombie) {
        logger().warning("calculate_ram_usage: process ", m_pid, " is in zombie state");
        return;
    }
    if (!memory.rss_kb) {
        logger().warning("calculate_ram_usage: Could not read process RAM usage");
        return;
    }
    m_rss_kb = *memory.rss_kb;
    if (m_total_ram_kb == 0) {
        logger().warning("calculate_ram_usage: total RAM usage for process ", m_pid,
                         " is 0 - might be a bug");
        return;
    }
    m_monitored_rss_kb += static_cast<std::uint64_t>(m_rss_kb);
    m_ram_usage = static_cast<double>(static_cast<long double>(m_rss_kb) * 100.0L /
                                      static_cast<long double>(m_total_ram_kb));
    logger().debug("calculate_ram_usage: read RAM usage for proc ", m_pid, ": ", m_rss_kb, "KB (",
                   m_ram_usage, "%)");
}

void ProcMemStats::reset_accumulator()
{
    m_monitored_rss_kb = 0;
    m_available_ram_kb = 0;
}

void ProcMemStats::update_system_mem_stats()
{
    m_system_stat.update_counters(m_total_ram_kb, m_available_ram_kb,
                                  static_cast<std::int64_t>(m_monitored_rss_kb));
}
