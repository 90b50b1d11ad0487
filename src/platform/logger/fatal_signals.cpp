#include "platform/logger/fatal_signals.h"

#include "platform/logger/gathered_records.h"

#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <iterator>

namespace {

constexpr int fatal_signals[] = {SIGABRT, SIGBUS,  SIGFPE, SIGILL,
                                 SIGQUIT, SIGSEGV, SIGSYS, SIGTRAP};

/// What was to come at each of them.
struct sigaction before[std::size(fatal_signals)];

/// Where the handler runs when the thread's own stack is used up.
alignas(16) char own_stack[16 * 1024];

void on_fatal_signal(int signal, siginfo_t* info, void* context)
{
    const int error = errno;
    GatheredRecords::rescue();
    errno = error;
    const auto* const at = std::find(std::begin(fatal_signals), std::end(fatal_signals), signal);
    const auto& old = before[at - fatal_signals];
    if ((old.sa_flags & SA_SIGINFO) != 0) {
        old.sa_sigaction(signal, info, context);
    } else if (old.sa_handler != SIG_DFL) {
        old.sa_handler(signal);
    } else {
        // Comes when this handler is left, as it came: the core shows where and why.
        ::signal(signal, SIG_DFL);
        ::syscall(SYS_rt_tgsigqueueinfo, ::getpid(), ::gettid(), signal, info);
    }
}

bool is_ours(const struct sigaction& action)
{
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == on_fatal_signal;
}

void lend_stack()
{
    stack_t stack{};
    if (::sigaltstack(nullptr, &stack) != 0 || (stack.ss_flags & SS_DISABLE) == 0)
        return; // somebody else's serves as well
    stack = {.ss_sp = own_stack, .ss_flags = 0, .ss_size = sizeof own_stack};
    ::sigaltstack(&stack, nullptr);
}

} // namespace

FatalSignals::FatalSignals() noexcept
{
    lend_stack();
    for (std::size_t i = 0; i < std::size(fatal_signals); ++i) {
        struct sigaction ours {};
        ::sigaction(fatal_signals[i], nullptr, &ours);
        if (is_ours(ours) || ours.sa_handler == SIG_IGN)
            continue;
        before[i] = ours;
        ours.sa_sigaction = on_fatal_signal;
        ours.sa_flags |= SA_SIGINFO | SA_ONSTACK;
        ::sigaction(fatal_signals[i], &ours, nullptr);
    }
}

FatalSignals::~FatalSignals()
{
    for (std::size_t i = 0; i < std::size(fatal_signals); ++i) {
        struct sigaction now {};
        ::sigaction(fatal_signals[i], nullptr, &now);
        if (is_ours(now))
            ::sigaction(fatal_signals[i], &before[i], nullptr);
    }
}
