#include "stats/interface_stats.h"

#include "fake_proc.h"
#include "support/captured_log.h"

#include <gtest/gtest.h>

namespace {

TEST(InterfaceRates, come_from_a_wrapping_difference)
{
    constexpr std::uint64_t two_32 = 1ULL << 32;
    const std::tuple<std::uint64_t, std::uint64_t, std::time_t, int> cases[] = {
        {5, 10005, 10, 1000},
        {10005, 5, 10, 0},               // reset
        {two_32 - 5, two_32 + 5, 10, 1}, // the 64-bit counter passes 2^32
        {0, 2147483647, 1, 2147483647},  // the most that a difference holds
        {0, 2147483648, 1, 0},           // taken for negative
        {0, two_32 + 79, 10, 7},         // and more is lost
        {~0ULL, 99, 10, 10},             // wrap at 64 bits
        {0, 1000, 0, 0},
        {0, 1000, -10, 0}, // the clock stepped back
    };
    for (const auto& [before, after, seconds, rate] : cases) {
        const InterfaceStats then{"a", before, before, 0, 0, before, before, 0, 0};
        const InterfaceStats now{"a", after, after, 0, 0, after, after, 0, 0};
        const auto rates = now.collect_interface_rates(&then, 100, 100 + seconds);
        for (const auto* key : {"rx_bps", "tx_bps", "rx_pps", "tx_pps"})
            EXPECT_EQ(rates.at(key), rate) << key << " " << after;
    }
    EXPECT_EQ(wrapping_delta32(0, 1), -1);
}

TEST(InterfaceReport, needs_the_interface_and_time_before)
{
    const FakeProc proc;
    InterfaceStatsReport report(proc.path());
    const CapturedLog log;
    const auto collect = [&](const char* counts, std::time_t now) {
        std::string lines = "header\nheader\n";
        std::istringstream words(counts);
        for (std::string name, bytes; words >> name >> bytes;)
            lines += name + ": " + bytes + " 0 0 0 0 0 0 0 0 0 0 0\n";
        proc.write("net/dev", lines + "\nbroken: 1 x\n");
        std::string summary;
        for (const auto& entry : report.collect_network_report(now))
            summary += entry.at("interface_name").get<std::string>() + " " +
                       entry.at("counters").at("rx_bytes").dump() + " " +
                       entry.at("rates").at("rx_bps").dump() + ";";
        return summary;
    };
    EXPECT_EQ(collect("lo 50 eth0 100 lo 60", 1000), "eth0 100 0;lo 50 0;");
    EXPECT_EQ(log.count("Failed to parse interface statistics from line: broken: 1 x\n"), 1);
    EXPECT_EQ(collect("lo 90 tun 70", 1010), "lo 90 4;tun 70 0;");
    EXPECT_EQ(collect("lo 95", 1009), "lo 95 0;") << "clock stepped back";
    EXPECT_EQ(collect("lo 105", 1010), "lo 105 10;");
    std::filesystem::remove(proc.file("net/dev"));
    EXPECT_EQ(report.collect_network_report(1020), libvariant::Variant::array());
    EXPECT_EQ(collect("lo 125", 1030), "lo 125 0;") << "nothing to compare with";
}

} // namespace
