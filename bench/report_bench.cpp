// What one health report costs, whole and piece by piece.
//
// Runs in the folder of a configured node (see bench.py) and measures the
// process tree of its parent, as the daemon measures that of its supervisor.
// Times are microseconds: wall, CPU of this process, and as the counter
// "children" CPU of the commands that it ran.
#include "common/nyx_logging.h"
#include "descriptor_holder.h"
#include "floor.h"
#include "floor_report.h"
#include "platform/shared_memory/shared_object.h"
#include "report_pieces.h"
#include "stats/proc_cpu_stats.h"
#include "stats/proc_fd_stats.h"
#include "stats/proc_mem_stats.h"
#include "utils/dual_nyx_helper.h"

#include <benchmark/benchmark.h>

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

double children_us()
{
    rusage used{};
    ::getrusage(RUSAGE_CHILDREN, &used);
    const auto us = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_usec);
    };
    return us(used.ru_utime) + us(used.ru_stime);
}

/// CPU time of this thread, microseconds.
double thread_us()
{
    timespec used{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1e3;
}

/// The CPU time of the single runs: the loop is kept by each as long as it takes.
void set_tail_counters(benchmark::State& state, std::vector<double>& runs)
{
    std::ranges::sort(runs);
    state.counters["p99"] = runs.at((runs.size() - 1) * 99 / 100);
    state.counters["worst"] = runs.back();
}

void measure(const char* name, std::function<void()> work)
{
    const auto run = [work = std::move(work)](benchmark::State& state) {
        const double before = children_us();
        std::vector<double> runs;
        for (auto _ : state) {
            const double start = thread_us();
            work();
            runs.push_back(thread_us() - start);
        }
        state.counters["children"] =
            benchmark::Counter(children_us() - before, benchmark::Counter::kAvgIterations);
        set_tail_counters(state, runs);
    };
    benchmark::RegisterBenchmark(name, run)->MeasureProcessCPUTime()->UseRealTime()->Unit(
        benchmark::kMicrosecond);
}

void register_collectors(Pieces& pieces)
{
    const int pid = pieces.pids().back();
    measure("collector/Process::read_stats", [&] { pieces.read_one(); });
    measure("collector/ProcCpuStats",
            [stats = ProcCpuStats(pid)]() mutable { stats.calc_cpu_usage(); });
    measure("collector/ProcMemStats", [pid] { benchmark::DoNotOptimize(ProcMemStats(pid)); });
    measure("collector/ProcFdStats", [pid, root = platform::ProcRoot()] {
        benchmark::DoNotOptimize(ProcFdStats(pid, root));
    });
    measure("collector/read_total_cpu_stats", [] { ProcCpuStats::read_total_cpu_stats(); });
    measure("collector/update_system_stats", [] { Process::update_system_stats(); });
    measure("collector/MachineRamInfo", [&] { pieces.read_ram(); });
    measure("collector/MachineCpuInfo", [&] { pieces.read_cpu(); });
    measure("collector/InterfaceStatsReport", [&] { pieces.read_interfaces(); });
    measure("collector/CPUStatSampler", [&] { pieces.sample(); });
}

void register_many_descriptors()
{
    const auto run = [](benchmark::State& state) {
        const DescriptorHolder process(20000);
        const platform::ProcRoot root;
        for (auto _ : state)
            benchmark::DoNotOptimize(ProcFdStats(process.pid(), root));
    };
    benchmark::RegisterBenchmark("collector/ProcFdStats, 20000 descriptors", run)
        ->MeasureProcessCPUTime()
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);
}

void register_report(Pieces& pieces)
{
    measure("report/create_report", [&] { pieces.create_report(); });
    measure("report/discovery", [] { benchmark::DoNotOptimize(discover()); });
    measure("report/tcp_memory", [&] { pieces.print_tcp_memory(); });
    measure("report/readers", [&] { pieces.read_all(); });
    measure("report/floor", [&] { benchmark::DoNotOptimize(read_floor(pieces.pids())); });
    measure("report/serialisation", [&] { pieces.serialise(); });
    measure("report/local_copy", [&] { pieces.write_copy(); });
    measure("report/post", [&] { pieces.post(std::chrono::milliseconds(1)); });
}

/// All of a report, and the least that the same can cost.
void register_whole(Pieces& pieces, nyx::AConfigurator& conf)
{
    measure("whole/report", [&] {
        pieces.create_report();
        pieces.post(std::chrono::milliseconds(1));
    });
    for (const bool resumes : {false, true}) {
        const auto floor =
            std::make_shared<FloorReport>(conf, pieces.pids(), pieces.text(), resumes);
        measure(resumes ? "whole/floor_resumed" : "whole/floor",
                [floor] { floor->make_and_post(); });
    }
}

void register_scale(Pieces& pieces)
{
    measure("scale/interfaces", [&] { pieces.serialise_interfaces(); });
    const auto count_ticks = [&](benchmark::State& state) {
        for (auto _ : state)
            state.counters["ticks"] = pieces.post(std::chrono::milliseconds(100));
    };
    benchmark::RegisterBenchmark("scale/ticks", count_ticks)->Iterations(1);
}

/// Finding the processes alone: where it takes minutes, the rest is not worth waiting for.
void run_discovery()
{
    benchmark::AddCustomContext("processes", std::to_string(discover().size()));
    measure("report/discovery", [] { benchmark::DoNotOptimize(discover()); });
    benchmark::RunSpecifiedBenchmarks();
}

/// Such a floor as a program that runs, one report a second, until it is killed.
[[noreturn]] void run_floor(nyx::AConfigurator& conf)
{
    const Pieces pieces(conf);
    FloorReport floor(conf, pieces.pids(), pieces.text(), false);
    for (auto next = std::chrono::steady_clock::now();; next += std::chrono::seconds(1)) {
        std::this_thread::sleep_until(next);
        floor.make_and_post();
    }
}

void run(nyx::AConfigurator& conf, int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (argc == 2 && std::string_view(argv[1]) == "discovery")
        return run_discovery();
    if (argc == 2 && std::string_view(argv[1]) == "floor")
        run_floor(conf);
    Pieces pieces(conf);
    benchmark::AddCustomContext("processes", std::to_string(pieces.pids().size()));
    register_collectors(pieces);
    register_many_descriptors();
    register_report(pieces);
    register_whole(pieces, conf);
    register_scale(pieces);
    benchmark::RunSpecifiedBenchmarks();
}

} // namespace

int main(int argc, char** argv)
{
    try {
        nyx::AConfigurator conf("vos.conf", false);
        nyx::TheConfigurator::set_configurator(&conf);
        auto logging = nyx_logging_init_cfg_and_watch(&conf, "Monitoring.log_config_file");
        nyx_utils::shared_mem_enabled = false;
        nyx_utils::DualNYXHelper::instance(false);
        run(conf, argc, argv);
        nyx_logging_and_watch_fini(std::move(logging));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << "report_bench: " << nyx::configuration_error_text(error) << '\n';
        return 1;
    }
}
