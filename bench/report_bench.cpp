// What one health report costs, whole and piece by piece.
//
// Runs in the folder of a configured node (see bench.py) and measures the
// process tree of its parent, as the daemon measures that of its supervisor.
// Times are microseconds: wall, CPU of this process, and as the counter
// "children" CPU of the commands that it ran.
#include "common/nyx_logging.h"
#include "floor.h"
#include "platform/process/builtin_commands.h"
#include "platform/shared_memory/shared_object.h"
#include "report/health_reporter.h"
#include "stats/machine_cpu_stats.h"
#include "stats/proc_cpu_stats.h"
#include "stats/proc_fd_stats.h"
#include "stats/proc_mem_stats.h"
#include "utils/dual_nyx_helper.h"

#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <exception>
#include <functional>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

using libvariant::Variant;

const std::map<std::string, std::string> hmac_params{{"secret", "General.hmac_secret"},
                                                     {"key", "General.datacenter_id"},
                                                     {"timeout", "General.hmac_timeout"}};

std::string setting(nyx::AConfigurator& conf, const char* key)
{
    return conf.config.lookup(key);
}

/// The processes below the parent that a report has entries of.
std::vector<std::pair<int, std::string>> discover()
{
    const platform::SharedProcessPass pass;
    std::vector<std::pair<int, std::string>> found;
    Process::get_running_processes(::getppid(), "watchdog", found);
    Process::get_running_services({"pluto", "bird", "keepalived"}, found);
    const auto allowed = ProcessesManager::get_allowed_processes(true);
    std::erase_if(found, [&](const auto& entry) { return !allowed.contains(entry.second); });
    return found;
}

/// A report, taken apart.
class Pieces {
public:
    explicit Pieces(nyx::AConfigurator& conf)
        : m_reporter(&conf, hmac_params, setting(conf, "Monitoring.report_path")),
          m_client(hmac_params, false, &conf, true), m_url(setting(conf, "General.zel_report_url")),
          m_path(setting(conf, "Monitoring.report_path")),
          m_copy_path(setting(conf, "Monitoring.local_json_report_path"))
    {
        for (const auto& [pid, name] : discover()) {
            m_pids.push_back(pid);
            m_processes.emplace_back(name, pid);
        }
        m_text = m_reporter.create_report();
        m_tree = libvariant::read_json(m_text);
    }

    const std::vector<int>& pids() const { return m_pids; }

    void create_report() { benchmark::DoNotOptimize(m_reporter.create_report()); }
    void print_tcp_memory() const { m_machine.print_process_cpu_and_ram(); }
    void read_one() { m_processes.back().read_stats(m_pids.back()); }
    void read_ram() { benchmark::DoNotOptimize(m_ram.generate_ram_info_report()); }
    void read_cpu() { benchmark::DoNotOptimize(m_cpu.generate_cpu_info_report()); }
    void sample() { m_sampler.retrive_stats(); }
    void read_interfaces() { benchmark::DoNotOptimize(m_interfaces.collect_network_report()); }

    /// All that a report does to get its figures, but for running commands.
    void read_all()
    {
        read_cpu();
        read_ram();
        Process::reset_globals();
        for (const auto& process : m_processes)
            benchmark::DoNotOptimize(process.is_alive());
        ProcCpuStats::read_total_cpu_stats();
        for (std::size_t i = 0; i < m_pids.size(); ++i)
            m_processes[i].read_stats(m_pids[i]);
        Process::update_system_stats();
        for (const auto& process : m_processes)
            process.print_proc_status();
        Process::print_system_stats();
        std::vector<Variant> entries;
        for (const auto& process : m_processes)
            entries.push_back(process.generate_proc_report());
        Process::add_global_stats_to_report(entries);
        benchmark::DoNotOptimize(entries);
        read_interfaces();
    }

    void serialise() const
    {
        benchmark::DoNotOptimize(
            libvariant::write_json(m_tree, {{"pretty", true}, {"precision", 10}}));
    }
    void serialise_interfaces()
    {
        benchmark::DoNotOptimize(libvariant::write_json(m_interfaces.collect_network_report(),
                                                        {{"pretty", true}, {"precision", 10}}));
    }
    void write_copy() const
    {
        libvariant::write_json_file(m_copy_path, m_tree, {{"pretty", true}});
    }

    /// Returns how often the transfer had to be driven on, once a `tick`.
    int post(std::chrono::milliseconds tick)
    {
        constexpr long timeout_sec = 10;
        int ticks = 0;
        m_client.init_post_request_async_resolver(m_url, m_path, m_reporter.get_client_cert_path(),
                                                  m_text, timeout_sec, "");
        do {
            ++ticks;
            m_client.continue_send();
            std::this_thread::sleep_for(tick);
        } while (m_client.is_async_running());
        if (!m_client.is_request_succeeded())
            throw std::runtime_error("the server did not take a report");
        return ticks;
    }

private:
    VOSHealthReporter m_reporter;
    nyx_monitor::MachineInfo m_machine{false};
    nyx_monitor::MachineRamInfo m_ram;
    nyx_monitor::MachineCpuInfo m_cpu{true};
    nyx_monitor::CPUStatSampler m_sampler{"/proc", false};
    InterfaceStatsReport m_interfaces;
    nyx::ZELHttpClient m_client;
    std::vector<int> m_pids;
    std::vector<Process> m_processes;
    std::string m_text; ///< the report
    Variant m_tree;     ///< the same
    std::string m_url;
    std::string m_path;
    std::string m_copy_path;
};

/// A process with so many descriptors.
class DescriptorHolder {
public:
    explicit DescriptorHolder(int count)
    {
        int ready[2];
        if (::pipe2(ready, O_CLOEXEC) != 0)
            throw std::runtime_error("no pipe");
        m_pid = ::fork();
        if (m_pid == 0)
            hold(count, ready[1]);
        ::close(ready[1]);
        char said = 0;
        const bool holds = ::read(ready[0], &said, 1) == 1;
        ::close(ready[0]);
        if (!holds)
            throw std::runtime_error("no process with " + std::to_string(count) + " descriptors");
    }
    DescriptorHolder(const DescriptorHolder&) = delete;
    DescriptorHolder& operator=(const DescriptorHolder&) = delete;
    ~DescriptorHolder()
    {
        ::kill(m_pid, SIGKILL);
        ::waitpid(m_pid, nullptr, 0);
    }

    int pid() const { return m_pid; }

private:
    [[noreturn]] static void hold(int count, int ready)
    {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        rlimit limit{};
        ::getrlimit(RLIMIT_NOFILE, &limit);
        limit.rlim_cur = limit.rlim_max;
        ::setrlimit(RLIMIT_NOFILE, &limit);
        for (int last = 0; last != count - 1;)
            if ((last = ::dup(ready)) < 0)
                ::_exit(1);
        if (::write(ready, "", 1) != 1)
            ::_exit(1);
        while (true)
            ::pause();
    }

    int m_pid{-1};
};

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

void run(nyx::AConfigurator& conf, int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (argc == 2 && std::string_view(argv[1]) == "discovery")
        return run_discovery();
    Pieces pieces(conf);
    benchmark::AddCustomContext("processes", std::to_string(pieces.pids().size()));
    register_collectors(pieces);
    register_many_descriptors();
    register_report(pieces);
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
