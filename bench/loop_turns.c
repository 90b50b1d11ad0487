// Preloaded into the daemon by stalls.py: how long the event loop is away from
// waiting at most: by the clock, by the clock less what its thread was ready and
// had no processor, and in CPU time. A turn is all that runs between two waits, as
// a rule one callback. The figures go to the file that VOS_LOOP_TURNS names, struct
// turns, which may be set back to 0 at any time.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <time.h>
#include <unistd.h>

struct times { // nanoseconds
    uint64_t clock;
    uint64_t held; // of the clock's, without waiting for a processor
    uint64_t cpu;
};

struct turns {
    uint64_t count;
    struct times longest; // each of them, perhaps not of the same turn
};

static struct turns* turns;
static int schedstat = -1; // of the thread of the loop, which is the first
static int (*real_epoll_wait)(int, struct epoll_event*, int, int);
static uint64_t began, began_waited, began_cpu; // when the last wait was over

static uint64_t now(clockid_t clock)
{
    struct timespec time = {0};
    clock_gettime(clock, &time);
    return (uint64_t)time.tv_sec * 1000000000 + (uint64_t)time.tv_nsec;
}

/// How long this thread has waited for a processor since it began; 0 where the
/// kernel does not tell.
static uint64_t waited_for_processor(void)
{
    char text[64] = {0};
    unsigned long long ran = 0, waited = 0;
    if (schedstat < 0 || pread(schedstat, text, sizeof text - 1, 0) <= 0 ||
        sscanf(text, "%llu %llu", &ran, &waited) != 2)
        return 0;
    return waited;
}

__attribute__((constructor)) static void set_up(void)
{
    void* symbol = dlsym(RTLD_NEXT, "epoll_wait");
    __builtin_memcpy(&real_epoll_wait, &symbol, sizeof symbol);
    const char* path = getenv("VOS_LOOP_TURNS");
    const int fd = path != NULL ? open(path, O_RDWR | O_CREAT | O_CLOEXEC, 0600) : -1;
    if (fd < 0)
        return;
    if (ftruncate(fd, sizeof *turns) == 0) {
        void* page = mmap(NULL, sizeof *turns, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
        turns = page != MAP_FAILED ? page : NULL;
    }
    close(fd);
    schedstat = open("/proc/thread-self/schedstat", O_RDONLY | O_CLOEXEC);
}

static void keep_longest(uint64_t* longest, uint64_t ns)
{
    if (ns > *longest)
        *longest = ns;
}

/// The clock is the last to be read at a turn's end and the first at its beginning:
/// so the time between holds all waiting that is taken off.
static void end_turn(void)
{
    const uint64_t cpu = now(CLOCK_THREAD_CPUTIME_ID) - began_cpu;
    const uint64_t waited = waited_for_processor() - began_waited;
    const uint64_t clock = now(CLOCK_MONOTONIC) - began;
    ++turns->count;
    keep_longest(&turns->longest.clock, clock);
    keep_longest(&turns->longest.held, clock > waited ? clock - waited : 0);
    keep_longest(&turns->longest.cpu, cpu);
}

int epoll_wait(int epoll, struct epoll_event* events, int most, int timeout)
{
    if (turns != NULL && began != 0)
        end_turn();
    const int ready = real_epoll_wait(epoll, events, most, timeout);
    began = now(CLOCK_MONOTONIC);
    began_waited = waited_for_processor();
    began_cpu = now(CLOCK_THREAD_CPUTIME_ID);
    return ready;
}
