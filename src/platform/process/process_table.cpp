#include "platform/process/process_table.h"

#include "platform/file/proc_root.h"
#include "platform/file/text_file.h"
#include "platform/process/numbered_folder.h"
#include "procfs/path.h"
#include "procfs/pid_children.h"
#include "procfs/pid_stat.h"

#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

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

bool exists(pid_t pid)
{
    return ::kill(pid, 0) == 0 || errno != ESRCH;
}

/// Whether there are children files, and the ids in them are those that system
/// calls of this process understand.
bool offers_children_files(const std::string& proc_root)
{
    return ProcRoot(proc_root).has_own_ids() &&
           ::access((proc_root + "/thread-self/children").c_str(), R_OK) == 0;
}

} // namespace

ProcessTable::ProcessTable(std::string proc_root)
    : m_proc_root(std::move(proc_root)), m_has_children_files(offers_children_files(m_proc_root))
{
}

std::vector<pid_t> ProcessTable::named_like(std::string_view part)
{
    look();
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
    for (const auto child : *pids)
        if (auto name = name_of(child))
            children.push_back({child, std::move(*name)});
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
        take_pass();
    m_fresh = m_held;
}

void ProcessTable::take_pass()
{
    const auto listed = read_numbered_folder(m_proc_root).value_or(std::vector<NumberedEntry>{});
    std::vector<Known> seen;
    seen.reserve(listed.size());
    auto before = m_known.begin();
    for (const auto& [pid, inode] : listed) {
        while (before != m_known.end() && before->process.pid < pid)
            ++before;
        if (before != m_known.end() && before->process.pid == pid && before->inode == inode &&
            still_named(*before)) {
            seen.push_back(std::move(*before));
        } else if (auto known = m_has_children_files ? read_process(pid) : read_stat(pid)) {
            known->inode = inode;
            seen.push_back(std::move(*known));
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

bool ProcessTable::still_named(const Known& known) const
{
    return known.ran > 0 && cpu_time(known.clock) == known.ran;
}

std::optional<ProcessTable::Known> ProcessTable::read_process(pid_t pid) const
{
    Known known;
    known.process.pid = pid;
    // The clock first: a process that renames itself in between is read again.
    if (::clock_getcpuclockid(pid, &known.clock) == 0)
        known.ran = cpu_time(known.clock);
    auto text = read_record_file(procfs::path_of(m_proc_root, pid, "comm"));
    if (!text || !text->ends_with('\n'))
        return std::nullopt;
    text->pop_back();
    known.process.name = std::move(*text);
    return known;
}

std::optional<ProcessTable::Known> ProcessTable::read_stat(pid_t pid) const
{
    const auto text = read_record_file(procfs::path_of(m_proc_root, pid, "stat"));
    const auto line = procfs::split_stat_line(text ? std::string_view(*text) : std::string_view());
    const auto parent = line ? line->parent() : std::nullopt;
    if (!parent)
        return std::nullopt;
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

std::optional<std::string> ProcessTable::name_of(pid_t pid)
{
    if (const auto* known = find(pid))
        return known->process.name;
    auto known = read_process(pid);
    return known ? std::optional(std::move(known->process.name)) : std::nullopt;
}

/// The threads of `pid`; nothing when there is no such process.
std::optional<std::vector<pid_t>> ProcessTable::list_threads(pid_t pid)
{
    auto* known = find(pid);
    if (known != nullptr && known->single_thread)
        return std::vector{pid};
    constexpr nlink_t links_of_single_thread = 3; // a link each, beside the folder's own two
    const auto folder_path = procfs::path_of(m_proc_root, pid, "task");
    struct stat folder {};
    if (::stat(folder_path.c_str(), &folder) != 0)
        return std::nullopt;
    if (folder.st_nlink != links_of_single_thread) {
        std::vector<pid_t> threads;
        for (const auto& entry :
             read_numbered_folder(folder_path).value_or(std::vector<NumberedEntry>{}))
            threads.push_back(entry.number);
        return threads;
    }
    if (known != nullptr)
        known->single_thread = true;
    return std::vector{pid};
}

/// The kernel steps from child to child without holding them: when the one that
/// it has just told goes, it may skip the next. A child that is gone after the
/// reading, or a thread that took its children elsewhere, has all read again.
std::optional<std::vector<pid_t>> ProcessTable::read_children(pid_t pid)
{
    constexpr int attempts = 3;
    for (int attempt = 0; attempt < attempts; ++attempt) {
        const auto threads = list_threads(pid);
        if (!threads)
            return std::vector<pid_t>{};
        std::vector<pid_t> children;
        const bool complete = std::ranges::all_of(*threads, [&](pid_t thread) {
            const auto text = read_text_file(procfs::path_of(m_proc_root, pid, "task/") +
                                             std::to_string(thread) + "/children");
            for (const auto child : procfs::parse_children(text.value_or("")))
                children.push_back(child);
            return text.has_value();
        });
        if (complete && std::ranges::all_of(children, exists)) {
            std::ranges::sort(children);
            return children;
        }
    }
    return std::nullopt;
}

std::vector<NamedProcess> ProcessTable::children_by_pass(pid_t pid)
{
    look();
    std::vector<NamedProcess> children;
    auto at = std::ranges::lower_bound(m_by_parent, std::pair{pid, std::size_t{0}});
    for (; at != m_by_parent.end() && at->first == pid; ++at)
        children.push_back(m_known[at->second].process);
    return children;
}

} // namespace platform
