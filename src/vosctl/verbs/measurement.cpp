#include "vosctl/verbs/measurement.h"

#include "vosctl/verbs/wall_second.h"

#include <thread>

namespace vosctl {

std::unique_ptr<HealthDocument> start_measuring(nyx::AConfigurator& conf)
{
    using std::chrono::milliseconds;
    // Documents are collected as a second begins; the CPU sampler, which starts
    // with the collectors and wakes once a second, is kept half a second off.
    constexpr milliseconds sampler_offset{500};
    std::this_thread::sleep_for(until_second(sampler_offset));
    auto document = std::make_unique<HealthDocument>(&conf);
    document->load_metadata();
    std::this_thread::sleep_for(until_second(milliseconds{0}));
    return document;
}

} // namespace vosctl
