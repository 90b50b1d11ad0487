// Waiting for a place within the wall clock's second.
#pragma once

#include <chrono>

namespace vosctl {

/// How long it is until the wall clock's second is `offset` old; reads the
/// clock. Rates are of whole seconds of that clock, so measurements begin with
/// one.
inline std::chrono::milliseconds until_second(std::chrono::milliseconds offset)
{
    using std::chrono::milliseconds;
    constexpr std::chrono::seconds one{1};
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto age = std::chrono::duration_cast<milliseconds>(now % one);
    return (offset - age + one) % one;
}

} // namespace vosctl
