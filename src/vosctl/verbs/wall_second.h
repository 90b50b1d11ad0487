// Waiting for a place within the wall clock's second.
#pragma once

#include <chrono>

namespace vosctl {

/// How long it is to where the wall clock's second is `offset` old. Rates are
/// told by whole seconds of the wall clock, so measurements begin with one; the
/// CPU sampler, which starts with a document and wakes once a second, is kept
/// half a second off.
inline std::chrono::milliseconds until_second(std::chrono::milliseconds offset)
{
    using std::chrono::milliseconds;
    constexpr std::chrono::seconds one{1};
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto age = std::chrono::duration_cast<milliseconds>(now % one);
    return (offset - age + one) % one;
}

constexpr std::chrono::milliseconds sampler_offset{500};

} // namespace vosctl
