#include "floor.h"

#include "floor_files.h"

#include <dirent.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

/// The sum of the next `count` numbers.
std::uint64_t sum_numbers(const char* text, int count)
{
    std::uint64_t sum = 0;
    char* end = nullptr;
    for (; count > 0; --count, text = end)
        sum += std::strtoull(text, &end, 10);
    return sum;
}

/// The number behind `key`.
std::uint64_t number_behind(const char* text, const char* key)
{
    const char* found = std::strstr(text, key);
    return found != nullptr ? sum_numbers(found + std::strlen(key), 1) : 0;
}

/// The columns of all CPUs, and how many CPUs there are.
std::uint64_t read_cpu_times()
{
    const char* line = read_file("/proc/stat");
    if (std::strncmp(line, "cpu ", 4) != 0)
        return 0;
    auto sum = sum_numbers(line + 4, 10);
    while ((line = std::strchr(line, '\n')) != nullptr && std::strncmp(++line, "cpu", 3) == 0)
        ++sum;
    return sum;
}

std::uint64_t read_process_ticks(int pid)
{
    const char* rest = std::strrchr(read_process_file(pid, "stat"), ')');
    for (int skipped = 0; rest != nullptr && skipped < 12; ++skipped)
        rest = std::strchr(rest + 1, ' ');
    return rest != nullptr ? sum_numbers(rest, 2) : 0;
}

std::uint64_t count_descriptors(int pid)
{
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/fd", pid);
    DIR* folder = ::opendir(path);
    if (folder == nullptr)
        return 0;
    struct stat found {};
    std::uint64_t count = 0;
    if (::fstat(::dirfd(folder), &found) == 0 && found.st_size > 0)
        count = static_cast<std::uint64_t>(found.st_size) + 2; // Linux 6.2 and later
    else
        while (::readdir(folder) != nullptr)
            ++count;
    ::closedir(folder);
    return count;
}

std::uint64_t read_process(int pid)
{
    auto sum = read_process_ticks(pid);
    const char* text = read_file("/proc/meminfo");
    sum += number_behind(text, "MemTotal:") + number_behind(text, "MemAvailable:");
    sum += number_behind(read_process_file(pid, "status"), "VmRSS:");
    sum += count_descriptors(pid);
    rlimit limit{};
    return ::prlimit(pid, RLIMIT_NOFILE, nullptr, &limit) == 0 ? sum + limit.rlim_cur : sum;
}

std::uint64_t read_machine()
{
    auto sum = sum_numbers(read_file("/proc/sys/fs/file-nr"), 3);
    const char* text = read_file("/proc/meminfo");
    for (const char* key : {"MemTotal:", "MemFree:", "Buffers:", "\nCached:"})
        sum += number_behind(text, key);
    sum += read_cpu_times();
    const char* line = read_file("/proc/net/dev");
    while ((line = std::strchr(line, ':')) != nullptr)
        sum += sum_numbers(++line, 12);
    return sum;
}

} // namespace

std::uint64_t read_floor(std::span<const int> pids)
{
    auto sum = read_cpu_times();
    for (const int pid : pids)
        sum += read_process(pid);
    return sum + read_machine();
}
