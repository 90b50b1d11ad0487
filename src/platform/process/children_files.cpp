#include "platform/process/children_files.h"

#include "platform/file/proc_root.h"
#include "platform/file/text_file.h"
#include "platform/process/numbered_folder.h"
#include "procfs/path.h"
#include "procfs/pid_children.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>

namespace platform {

namespace {

/// Each thread, with a child of 0; nothing when some may be missing.
std::optional<Family> list_threads(const std::string& proc_root, pid_t pid)
{
    constexpr nlink_t own_links = 2; // beside one of each thread
    const auto path = procfs::path_of(proc_root, pid, "task");
    struct stat folder {};
    if (::stat(path.c_str(), &folder) != 0)
        return std::nullopt;
    if (folder.st_nlink == own_links + 1)
        return Family{{pid, 0}};
    // The kernel's listing ends early when a thread ends that it stands at.
    const auto entries = read_numbered_folder(path);
    if (!entries || entries->size() + own_links != folder.st_nlink)
        return std::nullopt;
    Family threads;
    for (const auto& entry : *entries)
        threads.push_back({entry.number, 0});
    return threads;
}

} // namespace

bool offers_children_files(const std::string& proc_root)
{
    return ProcRoot(proc_root).has_own_ids() &&
           ::access((proc_root + "/thread-self/children").c_str(), R_OK) == 0;
}

std::optional<Family> read_family(const std::string& proc_root, pid_t pid, bool only_thread)
{
    const auto threads = only_thread ? Family{{pid, 0}} : list_threads(proc_root, pid);
    if (!threads)
        return std::nullopt;
    Family family;
    for (const auto& entry : *threads) {
        const auto text = read_text_file(procfs::path_of(proc_root, pid, "task/") +
                                         std::to_string(entry.thread) + "/children");
        if (!text)
            return std::nullopt;
        family.push_back(entry);
        for (const auto child : procfs::parse_children(*text))
            family.push_back({entry.thread, child});
    }
    return family;
}

bool is_single(const Family& family)
{
    return std::ranges::count(family, 0, &ThreadsChild::child) == 1;
}

std::vector<pid_t> children_of(const Family& family)
{
    std::vector<pid_t> children;
    for (const auto& entry : family)
        if (entry.child != 0)
            children.push_back(entry.child);
    std::ranges::sort(children);
    return children;
}

} // namespace platform
