#include "stats/machine_cpu_stats.h"

#include "common/nyx_configurator.h"
#include "fake_proc.h"
#include "support/captured_log.h"

#include <gtest/gtest.h>

namespace {

using namespace nyx_monitor;

constexpr auto at_ms = [](long ms) { return timespec{ms / 1000, ms % 1000 * 1000000}; };

struct Sampler : testing::Test {
    FakeProc proc;
    CapturedLog log;
    CPUStatSampler sampler{proc.path(), false};
    int skew{}, count{};
    double mean{}, variance{};

    Sampler() { CPUStatSampler::get_clock_skew(at_ms(0)); }
    bool drain(CPUStatSampler& source) { return source.get_stats(skew, mean, variance, count); }
};

TEST_F(Sampler, sums_up_what_came_since_the_last_report)
{
    sampler.add_stats(10, 100, at_ms(10000)); // against zero: 10 %
    sampler.add_stats(30, 200, at_ms(11500)); // 20 %, half a second late
    sampler.add_stats(30, 200, at_ms(12500)); // nothing, in no time
    ASSERT_TRUE(drain(sampler));
    EXPECT_DOUBLE_EQ(mean, 10.0);
    EXPECT_DOUBLE_EQ(variance, 200.0 / 3);
    EXPECT_EQ(std::pair(skew, count), std::pair(500, 3));
    EXPECT_TRUE(log.contains("skew detected: 500 msec\nadd_stats: CPU steal%: 20, clock skew 500"));
    EXPECT_EQ(log.count("add_stats: uptime interval is zero\n"), 1);

    EXPECT_FALSE(drain(sampler));
    sampler.add_stats(29, 300, at_ms(13500)); // a counter that goes back
    EXPECT_TRUE(log.contains("CPU steal%: 2147483647, clock skew 0\n"));
}

TEST_F(Sampler, keeps_the_newest_120)
{
    for (std::uint64_t i = 1; i <= 125; ++i)
        sampler.add_stats(std::min<std::uint64_t>(i, 5) * 100, i * 100, at_ms(1000));
    ASSERT_TRUE(drain(sampler));
    EXPECT_EQ(std::pair(count, mean), std::pair(120, 0.0)) << "the oldest five have steal";
}

TEST_F(Sampler, reads_the_aggregate_line_or_adds_nothing)
{
    sampler.retrive_stats();
    EXPECT_TRUE(log.contains("Couldn't open " + proc.file("stat") + "No such file or directory"));
    for (const auto* stat : {"", "cpu0 1 2 3 4 5 6 7 8\n", "cpu  ", "cpu  1 2 3 4 5 6 7"}) {
        proc.write("stat", stat);
        sampler.retrive_stats();
        EXPECT_FALSE(drain(sampler)) << stat;
    }
    EXPECT_EQ(log.count("An error occurred while trying to parse the CPU stats: "), 2);
    proc.write("stat", "cpu  1 2 3 4 5 6 7 8 9 10\n");
    sampler.retrive_stats();
    ASSERT_TRUE(drain(sampler));
    EXPECT_DOUBLE_EQ(mean, 100.0 * 8 / 36) << "without the guest columns";
}

TEST_F(Sampler, own_thread_samples_until_it_is_stopped)
{
    const auto path = proc.write("vos.conf", "General: { max_thread_runtime_ms = 5000; };");
    nyx::AConfigurator configurator(path.c_str(), false);
    nyx::TheConfigurator::set_configurator(&configurator);
    {
        CPUStatSampler running(captured_proc);
        running.start();
        for (int tries = 0; tries < 1000 && !drain(running); ++tries)
            ::usleep(1000);
    }
    nyx::TheConfigurator::set_configurator(nullptr);
    EXPECT_EQ(count, 1);
    EXPECT_TRUE(log.contains("start: Already is running\n"));
}

} // namespace
