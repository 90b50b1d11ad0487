#include "platform/process/process_table.h"

#include "platform/file/text_file.h"
#include "procfs/path.h"
#include "procfs/pid_stat.h"

#include <algorithm>
#include <cerrno>
#include <limits>
#include <span>

namespace platform {

namespace {

/// CPU time that was used on `clock`, nanoseconds; 0 when there is no such
/// clock any more.
std::int64_t cpu_time(clockid_t clock)
{
    timespec used{};
    if (::clock_gettime(clock, &used) != 0)
        return 0;
    return static_cast<std::int64_t>(used.tv_sec) * 1000000000 + used.tv_nsec;
}

/// Whether `pid` is the id of a process and not of a thread. A process that
/// hides its folder in /proc has a clock all the same.
bool is_process(pid_t pid)
{
    clockid_t clock{};
    return ::clock_getcpuclockid(pid, &clock) == 0;
}

/// Whether errno, after a file of a process could not be read, says that the
/// process has ended.
bool has_ended()
{
    return errno == ENOENT || errno == ESRCH;
}

} // namespace

ProcessTable::ProcessTable(std::string proc_root)
    : m_proc_root(std::move(proc_root)), m_has_children_files(offers_children_files(m_proc_root))
{
}

std::optional<std::vector<pid_t>> ProcessTable::named_like(std::string_view part)
{
    look();
    if (!m_whole)
        return std::nullopt;
    std::vector<pid_t> pids;
    for (const auto& known : m_known)
        if (known.process.name.find(part) != std::string::npos)
            pids.push_back(known.process.pid);
    return pids;
}

std::optional<std::vector<NamedProcess>> ProcessTable::children_of(pid_t pid)
{
    if (!m_has_children_files)
        return children_by_pass(pid);
    if (m_held)
        look(); // for the names
    const auto pids = read_children(pid);
    if (!pids)
        return std::nullopt;
    std::vector<NamedProcess> children;
    for (const auto child : *pids) {
        if (auto named = name(child))
            children.push_back(std::move(*named));
        else if (!has_ended() || is_process(child))
            return std::nullopt;
    }
    return children;
}

void ProcessTable::hold()
{
    m_held = true;
    m_fresh = false;
}

void ProcessTable::release()
{
    m_held = false;
}

void ProcessTable::look()
{
    if (!m_held || !m_fresh)
        take_pass(std::numeric_limits<std::size_t>::max());
    m_fresh = m_held;
}

bool ProcessTable::prepare(std::size_t more)
{
    if (!m_prepared) {
        m_allowed += more;
        take_pass(m_allowed);
    }
    return m_prepared;
}

/// Over the first `most` processes.
void ProcessTable::take_pass(std::size_t most)
{
    const auto all = read_numbered_folder(m_proc_root);
    const auto listed = std::span(all ? all->data() : nullptr, all ? all->size() : 0);
    m_prepared = m_prepared || listed.size() <= most;
    m_whole = all && listed.size() <= most;
    std::vector<Known> seen;
    seen.reserve(listed.size());
    auto before = m_known.begin();
    for (const auto& [pid, inode] : listed.first(std::min(most, listed.size()))) {
        while (before != m_known.end() && before->process.pid < pid)
            ++before;
        if (before != m_known.end() && before->process.pid == pid && before->inode == inode &&
            before->ran > 0 && cpu_time(before->clock) == before->ran) {
            seen.push_back(std::move(*before));
        } else if (auto known = m_has_children_files ? read_process(pid) : read_with_parent(pid)) {
            known->inode = inode;
            seen.push_back(std::move(*known));
        } else if (!has_ended()) {
            m_whole = false;
        }
    }
    m_known = std::move(seen);
    m_by_parent.clear();
    if (m_has_children_files)
        return;
    for (std::size_t i = 0; i < m_known.size(); ++i)
        m_by_parent.emplace_back(m_known[i].parent, i);
    std::ranges::sort(m_by_parent);
}

/// Nothing, with errno set, when it can not be read.
std::optional<ProcessTable::Known> ProcessTable::read_process(pid_t pid) const
{
    Known known;
    known.process.pid = pid;
    // The clock first: a process that renames itself in between is read again.
    if (::clock_getcpuclockid(pid, &known.clock) == 0)
        known.ran = cpu_time(known.clock);
    auto text = read_record_file(procfs::path_of(m_proc_root, pid, "comm"));
    if (!text)
        return std::nullopt;
    if (text->ends_with('\n'))
        text->pop_back();
    known.process.name = std::move(*text);
    return known;
}

/// The same, by its parent and without its clock.
std::optional<ProcessTable::Known> ProcessTable::read_with_parent(pid_t pid) const
{
    const auto text = read_record_file(procfs::path_of(m_proc_root, pid, "stat"));
    if (!text)
        return std::nullopt;
    const auto line = procfs::split_stat_line(*text);
    const auto parent = line ? line->parent() : std::nullopt;
    if (!parent) {
        errno = EBADMSG;
        return std::nullopt;
    }
    Known known;
    known.process = {pid, std::string(line->name)};
    known.parent = *parent;
    return known;
}

/// What the pass of this hold has of `pid`.
ProcessTable::Known* ProcessTable::find(pid_t pid)
{
    if (!m_held || !m_fresh)
        return nullptr;
    const auto found = std::ranges::lower_bound(
        m_known, pid, {}, [](const Known& known) { return known.process.pid; });
    return found != m_known.end() && found->process.pid == pid ? &*found : nullptr;
}

/// Nothing, with errno set, when it can not be read.
std::optional<NamedProcess> ProcessTable::name(pid_t pid)
{
    if (const auto* known = find(pid))
        return known->process;
    auto known = read_process(pid);
    return known ? std::optional(std::move(known->process)) : std::nullopt;
}

/// One reading counts when the process has one thread and has not run since the
/// pass, otherwise two that say the same; always only while all the children
/// that it tells are still there.
std::optional<std::vector<pid_t>> ProcessTable::read_children(pid_t pid)
{
    constexpr int attempts = 5;
    auto* const known = find(pid);
    std::optional<Family> before;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        if (known == nullptr && !is_process(pid))
            return std::vector<pid_t>{};
        auto family = read_family(m_proc_root, pid, known != nullptr && known->single_thread);
        const bool rests = family && known != nullptr && is_single(*family) && known->ran > 0 &&
                           cpu_time(known->clock) == known->ran;
        if (known != nullptr)
            known->single_thread = rests;
        if (family && (rests || family == before)) {
            auto children = platform::children_of(*family);
            if (std::ranges::all_of(children, is_process))
                return children;
        }
        before = std::move(family);
    }
    return known == nullptr || is_process(pid) ? std::nullopt : std::optional(std::vector<pid_t>{});
}

std::optional<std::vector<NamedProcess>> ProcessTable::children_by_pass(pid_t pid)
{
    look();
    if (!m_whole)
        return std::nullopt;
    std::vector<NamedProcess> children;
    auto at = std::ranges::lower_bound(m_by_parent, std::pair{pid, std::size_t{0}});
    for (; at != m_by_parent.end() && at->first == pid; ++at)
        children.push_back(m_known[at->second].process);
    return children;
}

} // namespace platform
