#include "stats/proc_stats_manager.h"

#include "fake_proc.h"
#include "platform/file/text_file.h"
#include "platform/file/while_waiting.h"
#include "platform/process/held_signal.h"
#include "platform/process/program_runner.h"
#include "procfs/path.h"
#include "procfs/pid_limits.h"
#include "stats/proc_fd_stats.h"
#include "stats/proc_mem_stats.h"
#include "support/captured_log.h"
#include "support/sleepers.h"

#include <gmock/gmock.h>

#include <sys/resource.h>

namespace {

using testing::_;
using testing::ElementsAre;
using testing::Pair;
using Found = std::vector<std::pair<int, std::string>>;

libvariant::Variant entry(const char* name, double ram, double cpu, double fd)
{
    return {{"process_name", name}, {"ram", ram}, {"cpu", cpu}, {"fd", fd}};
}

TEST(SystemPerfStat, other_wraps_in_every_counter_type)
{
    SystemPerfStat<std::uint64_t> cpu("cpu");
    SystemPerfStat<std::int32_t> fd("fd");
    EXPECT_EQ(cpu.percent_of_total(25), 0.0) << "no total";
    cpu.update_counters(100, 60, 50);
    fd.update_counters(-2147483647, 2, 0);
    EXPECT_TRUE(cpu.other == 0ULL - 10 && fd.other == 2147483647);
}

TEST(CpuStats, all_ticks_of_two_cores_are_200_percent_and_bad_files_change_nothing)
{
    const FakeProc proc;
    const CapturedLog log;
    ProcCpuStats stats(41, proc.path());
    const auto total = [&](const char* stat) {
        proc.write("stat", stat);
        ProcCpuStats::read_total_cpu_stats(proc.path());
    };
    total("cpu  0 0 0 100 0 0 0 0 0 0\ncpu0 0\ncpu1 0\n");
    total("cpu  300 0 99 100 0 0 0 0 1 0\ncpu0 0\ncpu1 0\n");
    proc.process(41, 300, 100, 1, 1, "9");
    stats.calc_cpu_usage();
    EXPECT_EQ(stats.cpu_usage(), 200.0);
    const auto path = proc.write("41/stat", "41 (cut) S 1");
    stats.read_proc_cpu_stats();
    std::filesystem::remove(path);
    stats.read_proc_cpu_stats();
    EXPECT_EQ(stats.last_ticks(), 400U) << "as before";
    EXPECT_TRUE(log.contains("parse file " + path) && log.contains("read file " + path));
    total("cpu  1 2\n");
    total("cpu  4 5\n");
    EXPECT_EQ(log.count("read_total_cpu_stats: failed to read CPU stats for 'system'\n"), 2);
    ProcCpuStats::read_total_cpu_stats(proc.file("none"));
    ProcCpuStats::update_system_cpu_stats();
    EXPECT_EQ(ProcCpuStats::system_stat().total, 6U) << "what the last good read found";
    total("cpu  4 5\n");
    stats.calc_cpu_usage();
    EXPECT_TRUE(log.contains("calc_cpu_usage: Unable to calculate cpu usage for process 41\n"));
}

TEST(MemStats, share_of_each_kind_of_process)
{
    struct {
        const char *status, *meminfo; ///< null: no file
        double usage;
        const char* record;
    } const cases[] = {
        {"State:\tS\nVmRSS: 250 kB", "MemTotal: 1000 kB", 25, "for proc 41: 250KB (25%)\n"},
        {"State:\tZ\nVmRSS: 9 kB", "MemTotal: 9 kB", 0, "process 41 is in zombie state\n"},
        {"State:\tS\n", "MemTotal: 9 kB", 0, "Could not read process RAM usage\n"},
        {"VmRSS: 250 kB", "", 0, "total RAM usage for process 41 is 0 - might be a bug\n"},
        {"VmRSS: 250 kB", nullptr, 0, "read_system_ram: failed to read "},
        {nullptr, "MemTotal: 9 kB", 0, "failed to read RAM usage for PID 41\n"},
    };
    for (const auto& want : cases) {
        SCOPED_TRACE(want.record);
        const CapturedLog log;
        const FakeProc proc;
        if (want.status != nullptr)
            proc.write("41/status", want.status);
        if (want.meminfo != nullptr)
            proc.write("meminfo", want.meminfo);
        ProcMemStats::reset_accumulator();
        for (int twice = 0; twice < 2; ++twice)
            EXPECT_EQ(ProcMemStats(41, proc.path()).ram_usage(), want.usage);
        ProcMemStats::update_system_mem_stats();
        EXPECT_EQ(ProcMemStats::system_stat().velmarin, want.usage > 0 ? 500 : 0);
        EXPECT_EQ(log.count(want.record), 2);
    }
}

TEST(FdStats, counts_dots_and_keeps_the_largest_ratio)
{
    const FakeProc proc;
    const CapturedLog log;
    proc.process(41, 1, 1, 1, 8, "100");
    proc.process(42, 1, 1, 1, 3, "4096");
    proc.process(43, 1, 1, 1, 98, "unlimited");
    ProcFdStats::reset_accumulator();
    const double ratios[] = {0.0, 0.1, 5.0 / 4096, 0.0}; // there is no process 40
    for (int i = 0; i < 4; ++i)
        EXPECT_EQ(ProcFdStats(40 + i, proc.path()).fd_ratio(), ratios[i]) << i;
    EXPECT_EQ(ProcFdStats::max_fd_ratio(), 0.1);
    EXPECT_EQ(log.count("failed to read FD limit of process "), 1);
    EXPECT_EQ(log.count("failed to calculate FD ratio for process "), 2);
    const std::pair<const char*, std::vector<int>> machines[] = {
        {"200 0 1000\n", {1000, 85, 800, 115}},
        {"200 0 9223372036854775807\n", {2147483647, 85, 2147483447, 115}},
        {"200 0", {0, 0, 0, 0}}};
    for (const auto& [file_nr, counters] : machines) {
        proc.write("sys/fs/file-nr", file_nr);
        ProcFdStats::update_system_fd_stats(proc.path());
        const auto& fd = ProcFdStats::system_stat();
        EXPECT_EQ((std::vector{fd.total, fd.other, fd.idle, fd.velmarin}), counters) << file_nr;
    }
    EXPECT_EQ(log.count("failed to read system file descriptors usage\n"), 1);
    // Both looks have a descriptor of their own.
    const auto open = std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    EXPECT_EQ(ProcFdStats(::getpid()).fd_count(), 2 + open);
}

TEST(FdStats, of_real_processes_are_those_of_the_files)
{
    const pid_t limited = spawn("iperf3", [] {
        const rlimit limit{77, 99};
        ::setrlimit(RLIMIT_NOFILE, &limit);
    });
    const pid_t zombie = ::fork();
    if (zombie == 0)
        ::_exit(0);
    for (const pid_t pid : {limited, zombie, ::getpid(), 1, 0}) { // another user's, mostly; none
        const auto text = platform::read_text_file(procfs::path_of("/proc", pid, "limits"));
        EXPECT_EQ(ProcFdStats(pid).fd_limit(),
                  procfs::parse_fd_limit(text.value_or("")).value_or(0));
    }
    end(limited);
}

struct Cycle : testing::Test {
    Cycle()
    {
        proc.write("meminfo", "MemTotal: 1000 kB\nMemAvailable: 400 kB\n");
        proc.write("sys/fs/file-nr", "200 0 1000\n");
        machine("cpu  100 0 100 800 0 0 0 0 0 0");
        Process::reset_globals(); // no ticks of other tests
        ProcCpuStats::read_total_cpu_stats(proc.path());
        machine("cpu  400 0 200 1400 0 0 0 0 0 0");
    }
    void machine(const std::string& ticks) const { proc.write("stat", ticks + "\ncpu0\ncpu1\n"); }
    FakeProc proc;
    CapturedLog log;
};

TEST_F(Cycle, measures_a_real_tree_over_its_changes)
{
    const pid_t first = spawn_family({"iperf3", "stranger"});
    ProcessesManager manager(proc.path());
    const auto report_of_cycle = [&] {
        manager.calculate_processes_performance({"watchdog", "iperf3"}, ::getpid());
        return manager.generate_procs_report();
    };
    proc.process(::getpid(), 60, 40, 250, 3, "100");
    proc.process(first, 30, 20, 100, 8, "100");
    EXPECT_THAT(report_of_cycle(),
                ElementsAre(entry("iperf3", 10, 10, 0.1), entry("watchdog", 25, 20, 0.05),
                            entry("other", 25, 25, 18.5), entry("idle", 40, 60, 80)));
    EXPECT_TRUE(log.contains("velmarin processes: 0.1\nShared memory disabled for: PN9nyx_utils"));
    EXPECT_TRUE(log.contains("): RAM: 25.00%, CPU: 20.00%, FD ratio: 0.05\n"));
    EXPECT_TRUE(log.contains("total velmarin: RAM: 35.00%, CPU: 15.00%, FD: 1.50%\n"));

    const auto gone = "iperf3 (" + std::to_string(first) + ") is not running, removing";
    end(first);
    const pid_t second = spawn_family({"iperf3"});
    machine("cpu  500 0 300 1700 0 0 0 0 0 0");
    proc.process(::getpid(), 80, 70, 250, 3, "100");
    proc.process(second, 5, 5, 50, 0, "unlimited");
    EXPECT_THAT(report_of_cycle(),
                ElementsAre(entry("iperf3", 5, 4, 0), entry("watchdog", 25, 20, 0.05), _, _));
    EXPECT_EQ(ProcCpuStats::system_stat().velmarin, 60ULL - 50ULL) << "who leaves takes all along";
    EXPECT_TRUE(log.contains(gone));
    end(second);
}

TEST_F(Cycle, is_given_up_with_its_figures_when_the_process_is_to_end)
{
    proc.process(::getpid(), 60, 40, 250, 3, "100");
    ProcessesManager manager(proc.path());
    manager.calculate_processes_performance({"watchdog"}, ::getpid());
    const auto before = manager.generate_procs_report();
    proc.process(::getpid(), 80, 70, 500, 3, "100");
    const platform::HeldSignal held(SIGTERM);
    ::raise(SIGTERM);
    int calls = 0;
    const platform::WorkWhileWaiting work([&calls] { ++calls; });
    manager.calculate_processes_performance({"watchdog"}, ::getpid());
    EXPECT_EQ(calls, 0) << "no command was run";
    EXPECT_EQ(manager.generate_procs_report(), before);
    EXPECT_NE(platform::run_program("sleep 4", {}).exit_code, 0) << "killed";
    ::signal(SIGTERM, SIG_IGN); // which throws away the one that waits
    ::signal(SIGTERM, SIG_DFL);
}

TEST_F(Cycle, ended_unreadable_and_changed_processes_have_zeros)
{
    const pid_t pid = spawn_family({"iperf3"});
    proc.process(pid, 30, 20, 100, 8, "100");
    proc.process(::getpid(), 60, 40, 250, 3, "100");
    ProcCpuStats::read_total_cpu_stats(proc.path());
    Process process("vos", ::getpid(), proc.path());
    EXPECT_EQ(process.generate_proc_report(), entry("vos", 25, 20, 0.05));
    const auto read_again = [&] { return process.read_stats(pid), process.generate_proc_report(); };
    EXPECT_EQ(read_again(), entry("vos", 0, 0, 0)) << "changed";
    EXPECT_EQ(read_again(), entry("vos", 10, 10, 0.1)) << "from zero ticks";
    end(pid);
    EXPECT_EQ(read_again(), entry("vos", 0, 0, 0)) << "ended";
    EXPECT_TRUE(log.contains(std::to_string(pid) + ") is not running, not collecting stats\n"));
    const Process unreadable("vos", ::getpid(), proc.file("none"));
    EXPECT_EQ(unreadable.generate_proc_report(), entry("vos", 0, 0, 0));
}

TEST(Discovery, finds_the_tree_depth_first_and_services_by_name)
{
    const auto name = "vosq" + std::to_string(::getpid());
    const pid_t family = spawn_family({name, name + "b", "vosthird"});
    Found found;
    EXPECT_TRUE(Process::get_running_processes(family, "any", found));
    EXPECT_THAT(found, ElementsAre(Pair(family, "any"), Pair(_, name + "b"), Pair(_, "vosthird")));
    EXPECT_TRUE(Process::get_running_processes(found.at(2).first, "leaf", found));
    EXPECT_FALSE(Process::get_running_processes(family, "  ", found));
    EXPECT_EQ(found.size(), 4U) << "the leaf alone was added";
    Found services;
    Process::get_running_services({"vos-no-such", name}, services);
    EXPECT_THAT(services, ElementsAre(Pair(family, name), Pair(found.at(1).first, name)));
    end(family);
}

} // namespace
