// A signal that waits while work is done that it may cut short.
#pragma once

#include <signal.h>

namespace platform {

/// While one lives, this thread gets no signal of that number; one that came
/// meanwhile is delivered when the last one goes. It holds a signal back from
/// the process only where no other thread takes it.
class HeldSignal {
public:
    explicit HeldSignal(int number);
    HeldSignal(const HeldSignal&) = delete;
    HeldSignal& operator=(const HeldSignal&) = delete;
    ~HeldSignal();

private:
    sigset_t m_before{};
};

/// Whether a held signal of that number has come; never for one that is not held.
bool signal_waits(int number);

} // namespace platform
