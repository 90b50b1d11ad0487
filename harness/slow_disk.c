/* Preloaded into supervisor and daemon, makes their disk slow, by what stands in the file named by
 * VOS_SLOW_DISK, a struct disk: whoever writes the file says how slow. The loop is held by what it
 * waits for the disk and by its own work; the longest turn of the daemon is told in the same file.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

/* Its number, of stat; in nanoseconds what each write to a file there takes longer, each rename,
 * and the longest turn. */
struct disk {
    int64_t device, write, rename, longest_turn;
};

static struct disk none;
static volatile struct disk* disk = &none;
static __thread int64_t waited, turn_began;
static ssize_t (*real_write)(int, const void*, size_t);
static int (*real_rename)(const char*, const char*);
static int (*real_epoll_wait)(int, struct epoll_event*, int, int);

static void __attribute__((constructor)) start(void)
{
    real_write = (ssize_t(*)(int, const void*, size_t))dlsym(RTLD_NEXT, "write");
    real_rename = (int (*)(const char*, const char*))dlsym(RTLD_NEXT, "rename");
    real_epoll_wait = (int (*)(int, struct epoll_event*, int, int))dlsym(RTLD_NEXT, "epoll_wait");
    const char* path = getenv("VOS_SLOW_DISK");
    int fd = path ? open(path, O_RDWR | O_CLOEXEC) : -1;
    if (fd >= 0) {
        void* page = mmap(NULL, sizeof *disk, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        if (page != MAP_FAILED)
            disk = page;
        close(fd);
    }
    /* The commands that the daemon runs start faster without. */
    if (strcmp(program_invocation_short_name, "vos_monitor") == 0)
        unsetenv("LD_PRELOAD");
}

static int is_there(const struct stat* file)
{
    return S_ISREG(file->st_mode) && (int64_t)file->st_dev == disk->device;
}

static void wait_for_disk(int64_t nanoseconds)
{
    int error = errno;
    struct timespec left = {nanoseconds / 1000000000, nanoseconds % 1000000000};
    while (nanosleep(&left, &left) != 0 && errno == EINTR) {
    }
    waited += nanoseconds;
    errno = error;
}

ssize_t write(int fd, const void* data, size_t size)
{
    struct stat file;
    if (disk->write > 0 && fstat(fd, &file) == 0 && is_there(&file))
        wait_for_disk(disk->write);
    return real_write(fd, data, size);
}

int rename(const char* from, const char* to)
{
    struct stat file;
    if (disk->rename > 0 && stat(from, &file) == 0 && is_there(&file))
        wait_for_disk(disk->rename);
    return real_rename(from, to);
}

/* Of its own time, so that other work on the machine does not count. */
static int64_t thread_time(void)
{
    struct timespec now;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * 1000000000 + now.tv_nsec;
}

int epoll_wait(int fd, struct epoll_event* events, int most, int timeout)
{
    int64_t turn = thread_time() - turn_began + waited;
    if (turn_began > 0 && turn > disk->longest_turn &&
        strcmp(program_invocation_short_name, "vos_monitor") == 0)
        disk->longest_turn = turn;
    int result = real_epoll_wait(fd, events, most, timeout);
    turn_began = thread_time();
    waited = 0;
    return result;
}
