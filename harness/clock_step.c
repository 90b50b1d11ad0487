/* Preloaded into a daemon, shifts its wall clock by the nanoseconds that stand, a 64-bit integer,
 * in the file named by VOS_CLOCK_OFFSET; whoever writes the file steps the clock. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <sys/timeb.h>
#include <time.h>
#include <unistd.h>

static const int64_t second = 1000000000;
static const volatile int64_t none = 0;
static const volatile int64_t* offset = &none;
static int (*real_clock_gettime)(clockid_t, struct timespec*);

static void __attribute__((constructor)) start(void)
{
    const char* path = getenv("VOS_CLOCK_OFFSET");
    int fd = path ? open(path, O_RDONLY | O_CLOEXEC) : -1;
    if (fd >= 0) {
        void* page = mmap(NULL, sizeof *offset, PROT_READ, MAP_SHARED, fd, 0);
        if (page != MAP_FAILED)
            offset = page;
        close(fd);
    }
    /* The commands that the daemon runs start faster without. */
    if (strcmp(program_invocation_short_name, "vos_monitor") == 0)
        unsetenv("LD_PRELOAD");
}

int clock_gettime(clockid_t clock, struct timespec* now)
{
    if (!real_clock_gettime)
        real_clock_gettime =
            (int (*)(clockid_t, struct timespec*))dlsym(RTLD_NEXT, "clock_gettime");
    int result = real_clock_gettime(clock, now);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
        int64_t nanoseconds = now->tv_nsec + *offset % second;
        now->tv_sec += *offset / second + (nanoseconds >= second) - (nanoseconds < 0);
        now->tv_nsec = (nanoseconds + second) % second;
    }
    return result;
}

int gettimeofday(struct timeval* restrict now, void* restrict zone)
{
    struct timespec precise;
    (void)zone;
    clock_gettime(CLOCK_REALTIME, &precise);
    now->tv_sec = precise.tv_sec;
    now->tv_usec = precise.tv_nsec / 1000;
    return 0;
}

time_t time(time_t* result)
{
    struct timespec precise;
    clock_gettime(CLOCK_REALTIME, &precise);
    if (result)
        *result = precise.tv_sec;
    return precise.tv_sec;
}

int timespec_get(struct timespec* now, int base)
{
    return base == TIME_UTC && clock_gettime(CLOCK_REALTIME, now) == 0 ? base : 0;
}

int ftime(struct timeb* now)
{
    struct timespec precise;
    clock_gettime(CLOCK_REALTIME, &precise);
    *now = (struct timeb){.time = precise.tv_sec,
                          .millitm = (unsigned short)(precise.tv_nsec / 1000000)};
    return 0;
}
