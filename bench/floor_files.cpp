#include "floor_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>

const char* read_file(const char* path)
{
    static char buffer[65536];
    buffer[0] = '\0';
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return buffer;
    const auto length = ::read(fd, buffer, sizeof buffer - 1);
    ::close(fd);
    buffer[std::max<ssize_t>(length, 0)] = '\0';
    return buffer;
}

const char* read_process_file(int pid, const char* leaf)
{
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%d/%s", pid, leaf);
    return read_file(path);
}
