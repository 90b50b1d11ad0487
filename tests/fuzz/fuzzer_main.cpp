// Fuzzing: libFuzzer calls, and no input may take longer than 10 ms of CPU.
#include "fuzz/target.h"

#include <cstdint>
#include <ctime>

namespace {

std::int64_t cpu_time_ns()
{
    timespec now{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec * std::int64_t{1000000000} + now.tv_nsec;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size)
{
    constexpr std::int64_t slowest_ns = 10000000;
    // On a virtual machine the clock jumps when the host takes the processor
    // away: only an input that is slow each time is slow.
    bool slow = true;
    for (int tries = 0; slow && tries < 5; ++tries) {
        const auto start = cpu_time_ns();
        fuzz_one({reinterpret_cast<const char*>(data), size});
        slow = cpu_time_ns() - start >= slowest_ns;
    }
    REQUIRE(!slow);
    return 0;
}
