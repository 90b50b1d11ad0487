// Processes that questions are asked about. Whoever starts them is the first of a
// pid namespace.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <functional>
#include <string>

using Work = std::function<void()>;

/// What all of them see.
struct Shared {
    std::atomic<unsigned> ready;
    std::atomic<bool> go;
    std::atomic<pid_t> pids[64];
    std::atomic<unsigned> count;
};
Shared& shared();

void set_seed(unsigned seed);
/// A random number.
unsigned up_to(unsigned most);

/// Throws when it takes seconds.
void wait_for(const std::function<bool()>& condition);
void take_name(const std::string& name);
/// Counts itself as ready.
[[noreturn]] void sleep_for_ever();
/// A process under that name which does `work` and then sleeps.
pid_t start(
    const std::string& name, const Work& work = [] {});
/// Until so many sleep.
void wait_for_ready(unsigned count);
/// Ends all other processes of the namespace.
void end_all();
