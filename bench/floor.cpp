#include "floor.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

char buffer[65536];
char path[64];

/// The file's text, or an empty one. The kernel gives each of these files
/// whole, up to a page, in one read.
const char* read_file(const char* name)
{
    buffer[0] = '\0';
    const int fd = ::open(name, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return buffer;
    const auto length = ::read(fd, buffer, sizeof buffer - 1);
    ::close(fd);
    buffer[std::max<ssize_t>(length, 0)] = '\0';
    return buffer;
}

const char* process_path(int pid, const char* leaf)
{
    std::snprintf(path, sizeof path, "/proc/%d/%s", pid, leaf);
    return path;
}

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
    const char* rest = std::strrchr(read_file(process_path(pid, "stat")), ')');
    for (int skipped = 0; rest != nullptr && skipped < 12; ++skipped)
        rest = std::strchr(rest + 1, ' ');
    return rest != nullptr ? sum_numbers(rest, 2) : 0;
}

std::uint64_t count_descriptors(int pid)
{
    DIR* folder = ::opendir(process_path(pid, "fd"));
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
    sum += number_behind(read_file(process_path(pid, "status")), "VmRSS:");
    sum += count_descriptors(pid);
    const char* limits = std::strstr(read_file(process_path(pid, "limits")), "Max open files");
    return limits != nullptr ? sum + sum_numbers(limits + std::strlen("Max open files"), 2) : sum;
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
