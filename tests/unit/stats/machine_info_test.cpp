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

TEST(MachineInfo, follows_the_configuration)
{
    const TempFolder folder;
    const auto write = [&](const std::string& more) {
        const auto general = "max_thread_runtime_ms = 5000; vos_id = \"node-7\"; ";
        return folder.write("vos.conf", "General: { " + (general + more) + "};");
    };
    const std::string address = "vos_public_ip = \"192.0.2.7\"; ";
    nyx::AConfigurator configurator(write(address).c_str(), false);
    nyx::TheConfigurator::set_configurator(&configurator);
    nyx_monitor::MachineInfo info(true, captured_proc);
    const CapturedLog log;
    const auto report = info.generate_machine_info_report();
    EXPECT_EQ(report.at("id").dump() + report.at("ip_address").dump(), R"("node-7""192.0.2.7")");
    EXPECT_EQ(report.at("ram").at("used"), 24684100.0 - 24161632 - 1028 - 387476);
    EXPECT_TRUE(report.at("cpu").contains("cpu-stats"));
    EXPECT_EQ(log.count("print_process_cpu_and_ram: TCP memory consumption is : "), 1);

    write("");
    configurator.reload_configuration();
    EXPECT_EQ(info.generate_machine_info_id_report().dump(), R"({"id":"N/A","ip_address":"N/A"})");
    write(address + "quiet_node = true; ");
    configurator.reload_configuration();
    nyx_monitor::MachineInfo(false, captured_proc).generate_machine_info_report();
    EXPECT_EQ(log.count("TCP memory"), 1) << "not of the quiet node";
    nyx::TheConfigurator::set_configurator(nullptr);
    EXPECT_EQ(nyx_monitor::tcp_memory_bytes("246\n"), 246 * 4096);
    EXPECT_THROW(nyx_monitor::tcp_memory_bytes(""), std::invalid_argument);
    EXPECT_THROW(nyx_monitor::tcp_memory_bytes("9223372036854775807"), std::out_of_range);
}

} // namespace
