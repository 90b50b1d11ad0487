#include "stats/proc_fd_stats.h"

#include "platform/file/text_file.h"
#include "platform/file/unique_fd.h"
#include "procfs/file_nr.h"
#include "procfs/path.h"
#include "procfs/pid_limits.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <utility>

double ProcFdStats::m_max_fd_ratio{};
std::uint32_t ProcFdStats::m_monitored_fds{};
std::int32_t ProcFdStats::m_allocated_fds{};
std::int32_t ProcFdStats::m_maximum_fds{};
SystemPerfStat<std::int32_t> ProcFdStats::m_system_stat{"fd"};

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("ProcFdStats");
    return instance;
}

/// How many descriptors the kernel says are in the opened folder "fd" of a
/// process: from Linux 6.2 on its size, before that 0.
std::optional<std::int32_t> told_count(int folder)
{
    struct stat found {};
    if (::fstat(folder, &found) != 0 || found.st_size <= 0)
        return std::nullopt;
    return static_cast<std::int32_t>(found.st_size);
}

/// The entries of the folder "fd" of `pid`, "." and ".." among them; nothing, as
/// for a listing, for who may not read it. The kernel makes an object for each
/// descriptor that it lists, so that is done only where it does not tell their
/// number.
std::optional<std::int32_t> count_entries(const platform::ProcRoot& root, int pid)
{
    constexpr std::int32_t own_entries = 2;
    const auto path = procfs::path_of(root.path(), pid, "fd");
    platform::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!fd.valid())
        return std::nullopt;
    if (const auto told = root.is_proc() ? told_count(fd.get()) : std::nullopt)
        return *told + own_entries;
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::fdopendir(fd.get()), ::closedir);
    if (!folder)
        return std::nullopt;
    fd.release(); // the folder closes it
    std::int32_t count = 0;
    while (::readdir(folder.get()) != nullptr)
        ++count;
    return count;
}

/// What the file "limits" says of `pid`, from the kernel, which need not write
/// out all limits for that. Nothing for who may not ask.
std::optional<std::int32_t> ask_limit(int pid)
{
    rlimit limit{};
    if (::prlimit(pid, RLIMIT_NOFILE, nullptr, &limit) != 0)
        return std::nullopt;
    return std::in_range<std::int32_t>(limit.rlim_max) ? static_cast<std::int32_t>(limit.rlim_max)
                                                       : 0;
}

std::optional<std::int32_t> read_limit(const platform::ProcRoot& root, int pid)
{
    const auto text = platform::read_record_file(procfs::path_of(root.path(), pid, "limits"));
    return text ? procfs::parse_fd_limit(*text) : std::nullopt;
}

} // namespace

ProcFdStats::ProcFdStats(int pid, const platform::ProcRoot& root) : m_pid(pid), m_root(root)
{
    calculate_fd_count();
    calculate_fd_limit();
    calculate_fd_ratio();
}

void ProcFdStats::calculate_fd_count()
{
    const auto count = count_entries(m_root, m_pid);
    m_fd_count = count.value_or(0);
    if (!count)
        logger().warning("calculate_fd_count: Failed to calculate FDs for process ", m_pid);
    m_monitored_fds += static_cast<std::uint32_t>(m_fd_count);
}

void ProcFdStats::calculate_fd_limit()
{
    // Asked of whom there is a folder: where that can not be opened, the file may be
    // out of reach as well, and the figure is to say so.
    auto limit = m_fd_count > 0 && m_root.has_own_ids() ? ask_limit(m_pid) : std::nullopt;
    if (!limit)
        limit = read_limit(m_root, m_pid);
    if (!limit)
        logger().warning("calculate_fd_limit: failed to read FD limit of process ", m_pid);
    m_fd_limit = limit.value_or(0);
}

void ProcFdStats::calculate_fd_ratio()
{
    if (m_fd_limit <= 0 || m_fd_count < 0) {
        logger().warning("calculate_fd_ratio: failed to calculate FD ratio for process ", m_pid);
        return;
    }
    m_fd_ratio = static_cast<double>(m_fd_count) / m_fd_limit;
    m_max_fd_ratio = std::max(m_max_fd_ratio, m_fd_ratio);
    logger().debug("calculate_fd_ratio: Process ", m_pid, ": open fds: ", m_fd_count,
                   ", limit: ", m_fd_limit, ", ratio: ", m_fd_ratio);
}

void ProcFdStats::reset_accumulator()
{
    m_monitored_fds = 0;
    m_max_fd_ratio = 0.0;
}

void ProcFdStats::update_system_fd_stats(const std::string& proc_root)
{
    m_allocated_fds = 0;
    m_maximum_fds = 0;
    const auto text = platform::read_record_file(proc_root + "/sys/fs/file-nr");
    const auto numbers = text ? procfs::parse_file_numbers(*text) : std::nullopt;
    if (!numbers) {
        logger().warning("update_system_fd_stats: failed to read system file descriptors usage");
        m_system_stat.update_counters(0, 0, 0);
        return;
    }
    m_allocated_fds = numbers->allocated;
    m_maximum_fds = numbers->maximum;
    logger().debug("update_system_fd_stats: read usage ", m_allocated_fds, ", limit ",
                   m_maximum_fds);
    m_system_stat.update_counters(m_maximum_fds, m_maximum_fds - m_allocated_fds,
                                  static_cast<std::int32_t>(m_monitored_fds));
}
