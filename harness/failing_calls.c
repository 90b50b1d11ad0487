// Preloaded into the daemon by harness/torture.py: records the memory
// allocations and system calls that the program makes, has chosen ones fail,
// and kills it at a chosen step of writing a file. Both sides talk through one
// mapped page, struct control, whose layout torture.py repeats.
//
// A call is known by its place: a hash over its kind and the return addresses
// that lead to it. So a chosen one is met again in another run or cycle, even
// when others come in between. (Addresses must not be randomised.)
#define _GNU_SOURCE
#include <dirent.h>
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <malloc.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <spawn.h>
#include <stdarg.h>
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/epoll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <unwind.h>

// The calls, in the order of their numbers. torture.py knows which errors fit.
// clang-format off
#define CALLS(X) \
    X(malloc) X(calloc) X(realloc) X(aligned_alloc) X(posix_memalign) X(open) X(fopen) \
    X(opendir) X(read) X(write) X(writev) X(close) X(rename) X(unlink) X(stat) X(fstat) X(lstat) \
    X(access) X(fchmod) X(fchown) X(fsync) X(socket) X(bind) X(connect) X(send) X(sendto) \
    X(sendmsg) X(recv) X(recvfrom) X(getsockopt) X(setsockopt) X(fcntl) X(pipe2) X(poll) \
    X(epoll_create1) X(epoll_ctl) X(epoll_wait) X(eventfd) X(socketpair) X(posix_spawn) \
    X(waitpid) X(pthread_create) X(mmap) X(getrandom)
// clang-format on

#define NUMBER(name) call_##name,
enum call { CALLS(NUMBER) number_of_calls };
#define NAME(name) #name "\n"
#define STATE_OFF 0
#define STATE_RECORDING 1
#define STATE_ARMED 2
#define MOST_RECORDS (1 << 18)
#define DEPTH 10
#define SHORT_TRANSFER 10000 // not an errno value: transfers half of what was asked for
#define MOST_FAULTS 2

struct record {
    uint32_t call;
    uint32_t place;
};

struct fault {
    uint32_t call; // fails at `place`, after `skip` visits there
    uint32_t place;
    uint32_t skip;
    uint32_t error;
    uint32_t burst; // so many calls of the kind fail from there on, at any place
    uint32_t failed;
    uint32_t depth; // of the stack of the first that failed
    uint32_t unused;
    uint64_t stack[DEPTH];
};

struct control {
    uint32_t state;   // set by the driver
    uint32_t stop_at; // 1: recording and failing end where the event loop begins
    uint32_t in_loop; // the event loop has begun
    uint32_t faults;  // how many are armed, one after the other
    uint32_t fired;   // how many of them are over
    uint32_t learn;   // 1: recording begins when they are over
    struct fault fault[MOST_FAULTS];
    uint32_t turns; // how often the loop has waited
    uint32_t records_made;
    uint32_t kill_step;     // counted from 1 within the writing of the file; 0: never
    uint32_t kill_fraction; // of a write that is cut short, in 65536ths
    uint32_t write_steps;   // steps that the last finished writing took
    uint32_t allocated;     // bytes, when the loop last began to wait
    char kill_file[64];     // part of the path of the file beside which it is written
    char names[1024];       // of the calls, a line each
    struct record records[MOST_RECORDS];
};

static struct control* control;
static _Thread_local int inside __attribute__((tls_model("initial-exec")));

static void* real_function(const char* name)
{
    ++inside;
    void* found = dlsym(RTLD_NEXT, name);
    --inside;
    return found;
}

__attribute__((constructor)) static void attach(void)
{
    const char* path = getenv("VOS_TORTURE_PAGE");
    if (path == NULL)
        return;
    unsetenv("LD_PRELOAD"); // the commands that the daemon runs are left alone
    ++inside;
    const int fd = open(path, O_RDWR | O_CLOEXEC);
    void* page = mmap(NULL, sizeof *control, PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    --inside;
    if (page == MAP_FAILED)
        abort();
    control = page;
    strcpy(control->names, CALLS(NAME));
}

// ---- which call fails

struct trace {
    uint64_t caller;
    int depth;
    uint64_t stack[DEPTH];
};

static _Unwind_Reason_Code visit(struct _Unwind_Context* context, void* arg)
{
    struct trace* trace = arg;
    const uint64_t address = _Unwind_GetIP(context);
    if (trace->depth == 0 && address != trace->caller)
        return _URC_NO_REASON; // a frame of this library
    trace->stack[trace->depth++] = address;
    return trace->depth < DEPTH ? _URC_NO_REASON : _URC_END_OF_STACK;
}

static uint32_t place_of(enum call call, const struct trace* trace)
{
    uint64_t hash = 14695981039346656037U ^ call;
    for (int i = 0; i < trace->depth; ++i)
        hash = (hash ^ trace->stack[i]) * 1099511628211U;
    return (uint32_t)(hash ^ (hash >> 32));
}

static void record_call(enum call call, uint32_t place)
{
    const uint32_t at = __atomic_fetch_add(&control->records_made, 1, __ATOMIC_RELAXED);
    if (at < MOST_RECORDS)
        control->records[at] = (struct record){call, place};
}

/// The fault that this visit is for, or is in the burst of.
static struct fault* chosen(enum call call, uint32_t place)
{
    if (control->fired >= control->faults)
        return NULL;
    struct fault* fault = &control->fault[control->fired];
    if (call != fault->call)
        return NULL;
    if (fault->failed > 0)
        return fault;
    if (place != fault->place)
        return NULL;
    if (fault->skip == 0)
        return fault;
    --fault->skip;
    return NULL;
}

static uint32_t failure_at(enum call call, const struct trace* trace)
{
    const uint32_t place = place_of(call, trace);
    if (control->state == STATE_RECORDING) {
        record_call(call, place);
        return 0;
    }
    struct fault* fault = chosen(call, place);
    if (fault == NULL)
        return 0;
    if (fault->failed++ == 0) {
        fault->depth = (uint32_t)trace->depth;
        memcpy(fault->stack, trace->stack, sizeof trace->stack);
    }
    if (fault->failed >= fault->burst && ++control->fired == control->faults && control->learn)
        control->state = STATE_RECORDING;
    return fault->error;
}

/// 0, or the error that this call is to fail with.
static uint32_t failure(enum call call, void* caller)
{
    if (control == NULL || control->state == STATE_OFF || inside > 0)
        return 0;
    const int before = errno;
    ++inside;
    struct trace trace = {.caller = (uint64_t)caller};
    _Unwind_Backtrace(visit, &trace);
    const uint32_t error = failure_at(call, &trace);
    --inside;
    errno = before;
    return error;
}

// ---- killing while a file is written

#define THREAD_LOCAL static _Thread_local __attribute__((tls_model("initial-exec")))
THREAD_LOCAL uint32_t write_step; // of the file that is being written now
THREAD_LOCAL int write_fd = -1;   // where it is open

static bool is_file(const char* path)
{
    return control != NULL && control->kill_file[0] != '\0' && path != NULL &&
           strstr(path, control->kill_file) != NULL;
}

static void die(void)
{
    kill(getpid(), SIGKILL);
    pause();
}

static void count_step(void)
{
    ++write_step;
    if (write_step == control->kill_step)
        die();
}

/// Called before a step that names the file; removing what lies there is the first.
static void step_path(const char* path, bool is_first)
{
    if (inside > 0 || !is_file(path))
        return;
    if (is_first)
        write_step = 0;
    count_step();
}

static void step_fd(int fd)
{
    if (fd == write_fd && fd >= 0)
        count_step();
}

static void step_write(int fd, const void* data, size_t size)
{
    if (fd != write_fd || fd < 0)
        return;
    if (write_step + 1 == control->kill_step) {
        const size_t part = (size_t)((double)size * control->kill_fraction / 65536);
        const int target = write_fd;
        write_fd = -1;
        if (part > 0 && write(target, data, part) < 0)
            abort();
        die();
    }
    ++write_step;
}

static void written(const char* path)
{
    if (!is_file(path))
        return;
    count_step(); // a moment after the renaming counts too
    control->write_steps = write_step;
    write_step = 0;
}

// ---- the calls

#define CALLER __builtin_return_address(0)
#define REAL(name)                                                                                 \
    static __typeof__(name)* real;                                                                 \
    if (real == NULL)                                                                              \
    real = (__typeof__(name)*)real_function(#name)
#define FAIL_OR(name, failed)                                                                      \
    do {                                                                                           \
        const uint32_t error = failure(call_##name, CALLER);                                       \
        if (error != 0) {                                                                          \
            errno = (int)error;                                                                    \
            return failed;                                                                         \
        }                                                                                          \
    } while (0)

extern void* __libc_malloc(size_t);
extern void* __libc_calloc(size_t, size_t);
extern void* __libc_realloc(void*, size_t);
extern void* __libc_memalign(size_t, size_t);

void* malloc(size_t size)
{
    FAIL_OR(malloc, NULL);
    return __libc_malloc(size);
}

void* calloc(size_t count, size_t size)
{
    FAIL_OR(calloc, NULL);
    return __libc_calloc(count, size);
}

void* realloc(void* old, size_t size)
{
    FAIL_OR(realloc, NULL);
    return __libc_realloc(old, size);
}

void* aligned_alloc(size_t alignment, size_t size)
{
    FAIL_OR(aligned_alloc, NULL);
    return __libc_memalign(alignment, size);
}

int posix_memalign(void** result, size_t alignment, size_t size)
{
    FAIL_OR(posix_memalign, ENOMEM);
    *result = __libc_memalign(alignment, size);
    return *result == NULL ? ENOMEM : 0;
}

#define SIMPLE(type, failed, name, parameters, arguments)                                          \
    type name parameters                                                                           \
    {                                                                                              \
        REAL(name);                                                                                \
        FAIL_OR(name, failed);                                                                     \
        return real arguments;                                                                     \
    }

SIMPLE(DIR*, NULL, opendir, (const char* path), (path))
SIMPLE(int, -1, stat, (const char* path, struct stat* found), (path, found))
SIMPLE(int, -1, fstat, (int fd, struct stat* found), (fd, found))
SIMPLE(int, -1, lstat, (const char* path, struct stat* found), (path, found))
SIMPLE(int, -1, access, (const char* path, int mode), (path, mode))
SIMPLE(int, -1, socket, (int domain, int type, int protocol), (domain, type, protocol))
SIMPLE(int, -1, bind, (int fd, const struct sockaddr* a, socklen_t size), (fd, a, size))
SIMPLE(int, -1, connect, (int fd, const struct sockaddr* a, socklen_t size), (fd, a, size))
SIMPLE(ssize_t, -1, send, (int fd, const void* data, size_t size, int flags),
       (fd, data, size, flags))
SIMPLE(ssize_t, -1, sendto,
       (int fd, const void* data, size_t size, int flags, const struct sockaddr* a, socklen_t n),
       (fd, data, size, flags, a, n))
SIMPLE(ssize_t, -1, sendmsg, (int fd, const struct msghdr* m, int flags), (fd, m, flags))
SIMPLE(ssize_t, -1, recv, (int fd, void* data, size_t size, int flags), (fd, data, size, flags))
SIMPLE(ssize_t, -1, recvfrom,
       (int fd, void* data, size_t size, int flags, struct sockaddr* a, socklen_t* n),
       (fd, data, size, flags, a, n))
SIMPLE(ssize_t, -1, writev, (int fd, const struct iovec* parts, int count), (fd, parts, count))
SIMPLE(int, -1, getsockopt, (int fd, int level, int name, void* value, socklen_t* size),
       (fd, level, name, value, size))
SIMPLE(int, -1, setsockopt, (int fd, int level, int name, const void* value, socklen_t size),
       (fd, level, name, value, size))
SIMPLE(int, -1, pipe2, (int ends[2], int flags), (ends, flags))
SIMPLE(int, -1, poll, (struct pollfd * fds, nfds_t count, int ms), (fds, count, ms))
SIMPLE(int, -1, epoll_create1, (int flags), (flags))
SIMPLE(int, -1, epoll_ctl, (int epoll, int what, int fd, struct epoll_event* event),
       (epoll, what, fd, event))
SIMPLE(int, -1, socketpair, (int domain, int type, int protocol, int ends[2]),
       (domain, type, protocol, ends))
SIMPLE(pid_t, -1, waitpid, (pid_t pid, int* status, int options), (pid, status, options))
SIMPLE(void*, MAP_FAILED, mmap, (void* at, size_t size, int prot, int flags, int fd, off_t offset),
       (at, size, prot, flags, fd, offset))
SIMPLE(ssize_t, -1, getrandom, (void* data, size_t size, unsigned flags), (data, size, flags))

int epoll_wait(int epoll, struct epoll_event* events, int count, int ms)
{
    REAL(epoll_wait);
    if (control != NULL) {
        control->allocated = (uint32_t)mallinfo2().uordblks;
        ++control->turns;
    }
    FAIL_OR(epoll_wait, -1);
    return real(epoll, events, count, ms);
}

int eventfd(unsigned initial, int flags)
{
    typedef int eventfd_function(unsigned, int);
    static eventfd_function* real;
    if (real == NULL)
        real = (eventfd_function*)real_function("eventfd");
    FAIL_OR(eventfd, -1);
    return real(initial, flags);
}

int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                const posix_spawnattr_t* attributes, char* const argv[], char* const environment[])
{
    REAL(posix_spawn);
    const uint32_t error = failure(call_posix_spawn, CALLER);
    if (error != 0)
        return (int)error;
    return real(pid, path, actions, attributes, argv, environment);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* arg)
{
    REAL(pthread_create);
    const uint32_t error = failure(call_pthread_create, CALLER);
    if (error != 0)
        return (int)error;
    return real(thread, attributes, body, arg);
}

int open(const char* path, int flags, ...)
{
    REAL(open);
    va_list more;
    va_start(more, flags);
    const mode_t mode = (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(more, mode_t) : 0;
    va_end(more);
    step_path(path, false);
    FAIL_OR(open, -1);
    const int fd = real(path, flags, mode);
    if (is_file(path))
        write_fd = fd;
    return fd;
}

FILE* fopen(const char* path, const char* mode)
{
    REAL(fopen);
    FAIL_OR(fopen, NULL);
    return real(path, mode);
}

FILE* fopen64(const char* path, const char* mode)
{
    REAL(fopen64);
    FAIL_OR(fopen, NULL);
    return real(path, mode);
}

int fcntl(int fd, int command, ...)
{
    REAL(fcntl);
    va_list more;
    va_start(more, command);
    void* argument = va_arg(more, void*);
    va_end(more);
    FAIL_OR(fcntl, -1);
    return real(fd, command, argument);
}

/// The bytes to transfer, or 0 when the call is to fail.
static size_t size_to_transfer(enum call call, size_t size, void* caller)
{
    const uint32_t error = failure(call, caller);
    if (error == SHORT_TRANSFER)
        return (size + 1) / 2;
    if (error != 0)
        errno = (int)error;
    return error == 0 ? size : 0;
}

ssize_t read(int fd, void* data, size_t size)
{
    REAL(read);
    const size_t part = size_to_transfer(call_read, size, CALLER);
    return part == 0 && size != 0 ? -1 : real(fd, data, part);
}

ssize_t write(int fd, const void* data, size_t size)
{
    REAL(write);
    step_write(fd, data, size);
    const size_t part = size_to_transfer(call_write, size, CALLER);
    return part == 0 && size != 0 ? -1 : real(fd, data, part);
}

/// A close that fails has closed all the same, as the kernel's does.
int close(int fd)
{
    REAL(close);
    step_fd(fd);
    if (fd == write_fd)
        write_fd = -1;
    const uint32_t error = failure(call_close, CALLER);
    const int result = real(fd);
    if (error == 0)
        return result;
    errno = (int)error;
    return -1;
}

#define STEPPED(name, step, parameters, arguments)                                                 \
    int name parameters                                                                            \
    {                                                                                              \
        REAL(name);                                                                                \
        step;                                                                                      \
        FAIL_OR(name, -1);                                                                         \
        return real arguments;                                                                     \
    }

STEPPED(unlink, step_path(path, true), (const char* path), (path))
STEPPED(fchmod, step_fd(fd), (int fd, mode_t mode), (fd, mode))
STEPPED(fchown, step_fd(fd), (int fd, uid_t user, gid_t group), (fd, user, group))
STEPPED(fsync, step_fd(fd), (int fd), (fd))

int rename(const char* from, const char* to)
{
    REAL(rename);
    step_path(from, false);
    FAIL_OR(rename, -1);
    const int result = real(from, to);
    written(from);
    return result;
}

// ---- where recording begins and ends: main, and the event loop

struct event_base;

int event_base_dispatch(struct event_base* base)
{
    typedef int dispatch_function(struct event_base*);
    dispatch_function* real = (dispatch_function*)real_function("event_base_dispatch");
    if (control != NULL) {
        if (control->stop_at == 1)
            control->state = STATE_OFF;
        control->in_loop = 1;
    }
    return real(base);
}

static int (*real_main)(int, char**, char**);
static uint32_t wanted_state;

static int main_from_here(int argc, char** argv, char** environment)
{
    if (control != NULL)
        control->state = wanted_state;
    return real_main(argc, argv, environment);
}

/// What runs before main is the loader's and the libraries' own affair.
int __libc_start_main(int (*body)(int, char**, char**), int argc, char** argv, void (*init)(void),
                      void (*fini)(void), void (*end)(void), void* stack_end)
{
    typedef int start_function(int (*)(int, char**, char**), int, char**, void (*)(void),
                               void (*)(void), void (*)(void), void*);
    start_function* real = (start_function*)real_function("__libc_start_main");
    real_main = body;
    if (control != NULL) {
        wanted_state = control->state;
        control->state = STATE_OFF;
    }
    return real(main_from_here, argc, argv, init, fini, end, stack_end);
}
