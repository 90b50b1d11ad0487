#include "equality_processes.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <random>
#include <stdexcept>

namespace {

std::mt19937& chance()
{
    static std::mt19937 generator;
    return generator;
}

} // namespace

void set_seed(unsigned seed)
{
    chance().seed(seed);
}

unsigned up_to(unsigned most)
{
    return std::uniform_int_distribution<unsigned>(0, most)(chance());
}

Shared& shared()
{
    static auto* const memory = static_cast<Shared*>(
        ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    return *memory;
}

void wait_for(const std::function<bool()>& condition)
{
    for (int i = 0; !condition(); ++i) {
        if (i > 100'000)
            throw std::runtime_error("waited in vain");
        ::usleep(50);
    }
}

[[noreturn]] void sleep_for_ever()
{
    ++shared().ready;
    while (true)
        ::pause();
}

void take_name(const std::string& name)
{
    ::prctl(PR_SET_NAME, name.c_str());
}

pid_t start(const std::string& name, const Work& work)
{
    const pid_t pid = ::fork();
    if (pid < 0)
        throw std::runtime_error("no process");
    if (pid > 0)
        return pid;
    take_name(name);
    work();
    sleep_for_ever();
}

void wait_for_ready(unsigned count)
{
    wait_for([count] { return shared().ready >= count; });
    ::usleep(200); // until they sleep
}

void end_all()
{
    ::kill(-1, SIGKILL);
    while (::waitpid(-1, nullptr, 0) > 0) {
    }
    shared().ready = 0;
    shared().go = false;
    shared().count = 0;
}
