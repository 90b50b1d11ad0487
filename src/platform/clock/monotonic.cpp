#include "platform/clock/monotonic.h"

namespace platform {

timespec monotonic_now()
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    return now;
}

} // namespace platform
