// Processes whose threads end, or become another program.
#include "equality_kinds.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <random>
#include <thread>

namespace {

constexpr unsigned threads = 8;
constexpr unsigned children_each = 2;

void have_children()
{
    for (unsigned i = 0; i < children_each; ++i)
        start("vosE-child");
}

/// Its threads have children and, when they may, all end but one.
void end_threads()
{
    for (unsigned i = 0; i < threads; ++i) {
        std::thread([i, pause_us = up_to(600)] {
            have_children();
            wait_for([] { return shared().go.load(); });
            ::usleep(pause_us);
            if (i == 0)
                sleep_for_ever();
        }).detach();
    }
    have_children();
    wait_for([] { return shared().go.load(); });
    ::usleep(up_to(600));
    if (up_to(2) > 0)
        ::syscall(SYS_exit, 0); // this thread alone
}

} // namespace

void ask_while_threads_end(Asker& asker)
{
    while (asker.goes_on()) {
        up_to(1); // for other pauses than before
        const auto command = children_of(start("vosE-threads", end_threads));
        wait_for_ready((threads + 1) * children_each);
        asker.compare({command}, [&] {
            shared().go = true;
            for (int i = 0; i < 12; ++i) {
                asker.answer(command);
                asker.hold_and_answer({command});
                ::usleep(up_to(30));
            }
        });
        end_all();
    }
}

void execute_again()
{
    std::thread([] {
        ::usleep(std::random_device()() % 300);
        ::execl("/proc/self/exe", "vosE-again", again, nullptr);
        ::_exit(1);
    }).detach();
    if (std::random_device()() % 2 == 0)
        ::syscall(SYS_exit, 0);
    while (true)
        ::pause();
}

void ask_while_executing_again(Asker& asker)
{
    while (asker.goes_on()) {
        const auto command = children_of(start("vosE-again", [] {
            have_children();
            execute_again();
        }));
        wait_for_ready(children_each);
        asker.compare({command}, [&] {
            for (int i = 0; i < 25; ++i) {
                asker.answer(command);
                asker.hold_and_answer({command});
                ::usleep(up_to(100));
            }
        });
        end_all();
    }
}
