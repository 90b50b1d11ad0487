#include "stats/machine_info.h"

#include "common/nyx_configurator.h"
#include "fake_proc.h"
#include "support/captured_log.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

TEST(MachineRam, used_is_what_is_neither_free_nor_cache)
{
    struct {
        const char *meminfo, *report, *record; ///< no meminfo: no file
    } const cases[] = {
        {"MemTotal: 1000 kB\nMemFree: 200 kB\nBuffers: 50 kB\nCached: 100 kB\nSwapCached: 9 kB\n",
         R"({"total":1000.0,"used":650.0})",
         "read_mem: Total RAM used: 65%\nShared memory disabled for: "},
        {nullptr, R"({"total":1000.0,"used":1000.0})", "read_mem: Total RAM used: 100%\n"},
        {"MemTotal:\nCached: 1 kB\n", "{}", "Couldn't read RAM information.\n"},
    };
    const FakeProc proc;
    nyx_monitor::MachineRamInfo ram(proc.path());
    for (const auto& [meminfo, report, record] : cases) {
        const CapturedLog log;
        std::filesystem::remove(proc.file("meminfo"));
        if (meminfo != nullptr)
            proc.write("meminfo", meminfo);
        EXPECT_EQ(ram.generate_ram_info_report().dump(), report);
        EXPECT_TRUE(log.contains(record)) << log.text();
    }
}

TEST(MachineCpu, usage_of_two_cores_between_reads)
{
    constexpr const char *two = "\ncpu0 1\ncpu1 1\nintr 7\n", *four = "\ncpu0\ncpu1\ncpu2\ncpu3\n";
    struct {
        std::uint64_t now_ms, idle;
        const char *listed, *cores, *usage, *record;
    } const reads[] = {
        {1000000, 1000, "", "2", "0.0", ""}, // the first one; none listed: the count stays
        {1001000, 1100, two, "2", "50.0", "read_cpu: Total CPU usage: 50%\n"},
        {1002000, 1100, two, "2", "100.0", "Shared memory disabled for: "},
        {1003000, 1400, two, "2", "0.0",
         "Negative total machine CPU usage: = -50\n"
         "Timestamp difference = 100 CPU idle time difference = 300\n"},
        // The clock stepped back; then 1.6 ticks count as two.
        {1002000, 1500, two, "2", "0.0", "read_cpu: Total CPU usage: 0%\n"},
        {1002016, 1502, two, "2", "50.0", ""},
        {1003016, 1902, four, "4", "0.0", nullptr}, // two CPUs more
        {1004016, 2202, four, "4", "25.0", "read_cpu: Total CPU usage: 25%\n"},
        {1005016, 2302, two, "2", "0.0", nullptr},
    };
    const FakeProc proc;
    nyx_monitor::MachineCpuInfo cpu(false, proc.path(), 2);
    EXPECT_EQ(cpu.generate_cpu_info_report().dump(), "{}") << "no file";
    proc.write("stat", "cpu  0 0 0 0");
    ASSERT_TRUE(cpu.read_cpu(0)); // at time 0, the next one is the first
    for (const auto& [now_ms, idle, listed, cores, usage, record] : reads) {
        const CapturedLog log;
        proc.write("stat", "cpu  9 9 9 " + std::to_string(idle) + " 9 9" + listed);
        EXPECT_EQ(cpu.generate_cpu_info_report(now_ms).dump(),
                  R"({"cores":[],"cpu-stats":{"clock-skew-ms":0,"num-of-samples":0,)"
                  R"("steal-average-pct":0.0,"steal-variance":0.0},"num-of-cores":)" +
                      std::string(cores) + R"(,"total":)" + usage + "}");
        EXPECT_TRUE(record == nullptr ? log.text().empty() : log.contains(record)) << log.text();
    }
    EXPECT_THROW(nyx_monitor::MachineCpuInfo(false, proc.path(), 0), std::runtime_error);
}

TEST(MachineInfo, tcp_memory_is_a_number_of_pages)
{
    EXPECT_EQ(nyx_monitor::tcp_memory_bytes("246\n"), 246 * 4096);
    EXPECT_THROW(nyx_monitor::tcp_memory_bytes(""), std::invalid_argument);
    EXPECT_THROW(nyx_monitor::tcp_memory_bytes("9223372036854775807"), std::out_of_range);
}

} // namespace
