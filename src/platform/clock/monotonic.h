// The monotonic clock.
#pragma once

#include <ctime>

namespace platform {

/// The time since some moment before the process began; setting the wall clock
/// does not touch it. Never fails.
timespec monotonic_now();

} // namespace platform
