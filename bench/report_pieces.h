// One health report, taken apart: the daemon's own classes, a call for each part.
#pragma once

#include "report/health_reporter.h"
#include "stats/machine_cpu_stats.h"

#include <chrono>
#include <string>
#include <utility>
#include <vector>

/// The processes below the parent that a report has entries of.
std::vector<std::pair<int, std::string>> discover();

/// Settings of `conf`; throws libconfig's exception for one that is missing.
class Pieces {
public:
    explicit Pieces(nyx::AConfigurator& conf);

    const std::vector<int>& pids() const { return m_pids; }
    /// The latest report, as it is sent.
    const std::string& text() const { return m_text; }

    void create_report() { m_text = m_reporter.create_report(); }
    void print_tcp_memory() const { m_machine.print_process_cpu_and_ram(); }
    void read_one() { m_processes.back().read_stats(m_pids.back()); }
    void read_ram();
    void read_cpu();
    void sample() { m_sampler.retrive_stats(); }
    void read_interfaces();

    /// All that a report does to get its figures, but for running commands.
    void read_all();
    void serialise() const;
    void serialise_interfaces();
    void write_copy() const;

    /// Posts the latest report. Returns how often the transfer had to be driven on, once
    /// a `tick`; throws std::runtime_error when the server does not take it.
    int post(std::chrono::milliseconds tick);

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
    std::string m_text;
    libvariant::Variant m_tree; ///< the first report
    std::string m_url;
    std::string m_path;
    std::string m_copy_path;
};
