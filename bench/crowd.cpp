// Idle processes for a benchmark: "crowd NAME COUNT [DESCRIPTORS]" starts COUNT of
// them under that name, takes it and so many descriptors, says "ready" and sleeps.
// At SIGTERM it ends them and waits for each: they are not to stay as zombies of
// whoever adopts them.
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>

namespace {

[[noreturn]] void sleep_until_killed()
{
    while (true)
        ::pause();
}

void end_all(int)
{
    ::kill(0, SIGUSR1); // the group; it is ignored here
    while (::wait(nullptr) > 0) {
    }
    ::_exit(0);
}

/// One that says by a byte into `ready` that it has nothing more to do.
bool start_one(int ready)
{
    const pid_t pid = ::fork();
    if (pid != 0)
        return pid > 0;
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    std::signal(SIGTERM, SIG_DFL);
    std::signal(SIGUSR1, SIG_DFL);
    if (::write(ready, "", 1) != 1)
        ::_exit(1);
    sleep_until_killed();
}

/// False when the limit is lower.
bool hold_descriptors(int count)
{
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    for (int last = STDERR_FILENO; last + 1 < count;)
        if ((last = ::dup(STDERR_FILENO)) < 0)
            return false;
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3 && argc != 4) {
        std::fputs("usage: crowd NAME COUNT [DESCRIPTORS]\n", stderr);
        return 2;
    }
    ::prctl(PR_SET_NAME, argv[1]);
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    ::setpgid(0, 0);
    std::signal(SIGUSR1, SIG_IGN);
    std::signal(SIGTERM, end_all);
    int ready[2];
    if (::pipe(ready) != 0)
        return 1;
    const int count = std::atoi(argv[2]);
    for (int started = 0; started < count; ++started) {
        if (!start_one(ready[1])) {
            std::perror("crowd: fork");
            return 1;
        }
    }
    char none;
    for (int idle = 0; idle < count; ++idle)
        if (::read(ready[0], &none, 1) != 1)
            return 1;
    if (argc == 4 && !hold_descriptors(std::atoi(argv[3]))) {
        std::perror("crowd: descriptors");
        return 1;
    }
    std::puts("ready");
    std::fflush(stdout);
    sleep_until_killed();
}
