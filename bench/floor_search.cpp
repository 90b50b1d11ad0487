#include "floor_search.h"

#include "floor_files.h"

#include <dirent.h>
#include <sys/stat.h>

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <string>

namespace {

constexpr const char* services[] = {"pluto", "bird", "keepalived"};

using Folder = std::unique_ptr<DIR, int (*)(DIR*)>;

/// Calls `take` with each entry of `path` that is a number.
template <typename Take>
void for_each_number(const char* path, Take take)
{
    const Folder folder(::opendir(path), ::closedir);
    while (const dirent* entry = folder ? ::readdir(folder.get()) : nullptr)
        if (std::isdigit(static_cast<unsigned char>(entry->d_name[0])) != 0)
            take(std::atoi(entry->d_name));
}

std::int64_t cpu_time(pid_t pid)
{
    constexpr int scheduled_time = 2; // of the clocks that a process has
    timespec used{};
    const auto clock = static_cast<clockid_t>((~static_cast<unsigned>(pid) << 3) | scheduled_time);
    return ::clock_gettime(clock, &used) == 0
               ? static_cast<std::int64_t>(used.tv_sec) * 1000000000 + used.tv_nsec
               : 0;
}

void add_numbers(const char* text, std::vector<int>& found)
{
    char* end = nullptr;
    for (long pid = 0; (pid = std::strtol(text, &end, 10)) > 0; text = end)
        found.push_back(static_cast<int>(pid));
}

} // namespace

void FloorSearch::list_all()
{
    m_seen.clear();
    auto before = m_known.begin();
    for_each_number("/proc", [&](pid_t pid) {
        while (before != m_known.end() && before->pid < pid)
            ++before;
        Known known{pid, cpu_time(pid), {}};
        if (before != m_known.end() && before->pid == pid && before->ran == known.ran)
            known.name = before->name;
        else
            std::snprintf(known.name.data(), known.name.size(), "%s",
                          read_process_file(pid, "comm"));
        m_seen.push_back(known);
    });
    m_known.swap(m_seen);
}

void FloorSearch::add_tree(pid_t root, std::vector<int>& found)
{
    constexpr nlink_t links_of_single_thread = 3;
    found.push_back(root);
    for (std::size_t next = 0; next < found.size(); ++next) {
        const auto pid = found[next];
        const auto tasks = "/proc/" + std::to_string(pid) + "/task";
        struct stat folder {};
        if (::stat(tasks.c_str(), &folder) != 0)
            continue;
        const auto add_children = [&](pid_t thread) {
            add_numbers(read_file((tasks + "/" + std::to_string(thread) + "/children").c_str()),
                        found);
        };
        if (folder.st_nlink == links_of_single_thread)
            add_children(pid);
        else
            for_each_number(tasks.c_str(), add_children);
    }
}

std::vector<int> FloorSearch::find(pid_t root)
{
    std::vector<int> found;
    list_all();
    add_tree(root, found);
    for (const auto& known : m_known)
        for (const char* service : services)
            if (std::strstr(known.name.data(), service) != nullptr)
                found.push_back(known.pid);
    return found;
}
