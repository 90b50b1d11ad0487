// Ids that are used again.
#include "equality_kinds.h"

#include <linux/sched.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <thread>

namespace {

constexpr pid_t first_id = 20'000;
constexpr int ids = 20;

void start_under(pid_t id, const char* name)
{
    clone_args arguments{};
    arguments.exit_signal = SIGCHLD;
    arguments.set_tid = reinterpret_cast<std::uintptr_t>(&id);
    arguments.set_tid_size = 1;
    const long pid = ::syscall(SYS_clone3, &arguments, sizeof arguments);
    if (pid < 0)
        throw std::runtime_error("no process with an id of choice");
    if (pid > 0)
        return;
    take_name(name);
    sleep_for_ever();
}

void start_all_under(const char* name)
{
    for (int i = 0; i < ids; ++i)
        start_under(first_id + i, name);
    wait_for_ready(ids);
}

} // namespace

void ask_about_ids_used_again(Asker& asker)
{
    const std::vector<std::string> commands{named("vosE-old"), named("vosE-new"),
                                            children_of(::getpid())};
    while (asker.goes_on()) {
        start_all_under("vosE-old");
        asker.compare(commands);
        end_all();
        start_all_under("vosE-new");
        asker.compare(commands);
        end_all();
    }
    // An id that a process had, and now a thread.
    std::atomic<pid_t> thread = 0;
    std::jthread other([&](const std::stop_token& stop) {
        thread = ::gettid();
        while (!stop.stop_requested())
            ::usleep(1000);
    });
    wait_for([&] { return thread != 0; });
    start("vosE-child");
    wait_for_ready(1);
    asker.compare({children_of(thread)});
    end_all();
}
