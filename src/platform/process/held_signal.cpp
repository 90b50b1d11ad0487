#include "platform/process/held_signal.h"

namespace platform {

HeldSignal::HeldSignal(int number)
{
    sigset_t held;
    ::sigemptyset(&held);
    ::sigaddset(&held, number);
    ::pthread_sigmask(SIG_BLOCK, &held, &m_before);
}

HeldSignal::~HeldSignal()
{
    ::pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

bool signal_waits(int number)
{
    sigset_t waiting;
    ::sigemptyset(&waiting);
    return ::sigpending(&waiting) == 0 && ::sigismember(&waiting, number) == 1;
}

} // namespace platform
