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
    struct {
        std::uint64_t now_ms, idle;
        const char *usage, *record;
    } const reads[] = {
        {1000000, 1000, "0.0", ""}, // the first one
        {1001000, 1100, "50.0", "read_cpu: Total CPU usage: 50%\n"},
        {1002000, 1100, "100.0", "Shared memory disabled for: "},
        {1003000, 1400, "0.0",
         "Negative total machine CPU usage: = -50\n"
         "Timestamp difference = 100 CPU idle time difference = 300\n"},
        {1002000, 1500, "0.0", "read_cpu: Total CPU usage: 0%\n"}, // the clock stepped back
        {1002016, 1502, "50.0", ""},                               // 1.6 ticks count as two
    };
    const FakeProc proc;
    nyx_monitor::MachineCpuInfo cpu(false, proc.path(), 2);
    EXPECT_EQ(cpu.generate_cpu_info_report().dump(), "{}") << "no file";
    proc.write("stat", "cpu  0 0 0 0");
    ASSERT_TRUE(cpu.read_cpu(0)); // at time 0, the next one is the first
    for (const auto& [now_ms, idle, usage, record] : reads) {
        const CapturedLog log;
        proc.write("stat", "cpu  9 9 9 " + std::to_string(idle) + " 9 9");
        EXPECT_EQ(cpu.generate_cpu_info_report(now_ms).dump(),
                  R"({"cores":[],"cpu-stats":{"clock-skew-ms":0,"num-of-samples":0,)"
                  R"("steal-average-pct":0.0,"steal-variance":0.0},"num-of-cores":2,"total":)" +
                      std::string(usage) + "}");
        EXPECT_TRUE(log.contains(record)) << log.text();
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
