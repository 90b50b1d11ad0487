#include "report_pieces.h"

#include "platform/process/builtin_commands.h"
#include "stats/proc_cpu_stats.h"

#include <benchmark/benchmark.h>

#include <unistd.h>

#include <map>
#include <stdexcept>
#include <thread>

namespace {

using libvariant::Variant;

const std::map<std::string, std::string> hmac_params{{"secret", "General.hmac_secret"},
                                                     {"key", "General.datacenter_id"},
                                                     {"timeout", "General.hmac_timeout"}};

std::string setting(nyx::AConfigurator& conf, const char* key)
{
    return conf.config.lookup(key);
}

} // namespace

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

Pieces::Pieces(nyx::AConfigurator& conf)
    : m_reporter(&conf, hmac_params, setting(conf, "Monitoring.report_path")),
      m_client(hmac_params, false, &conf, true), m_url(setting(conf, "General.zel_report_url")),
      m_path(setting(conf, "Monitoring.report_path")),
      m_copy_path(setting(conf, "Monitoring.local_json_report_path"))
{
    for (const auto& [pid, name] : discover()) {
        m_pids.push_back(pid);
        m_processes.emplace_back(name, pid);
    }
    create_report();
    m_tree = libvariant::read_json(m_text);
}

void Pieces::read_ram()
{
    benchmark::DoNotOptimize(m_ram.generate_ram_info_report());
}

void Pieces::read_cpu()
{
    benchmark::DoNotOptimize(m_cpu.generate_cpu_info_report());
}

void Pieces::read_interfaces()
{
    benchmark::DoNotOptimize(m_interfaces.collect_network_report());
}

void Pieces::read_all()
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

void Pieces::serialise() const
{
    benchmark::DoNotOptimize(libvariant::write_json(m_tree, {{"pretty", true}, {"precision", 10}}));
}

void Pieces::serialise_interfaces()
{
    benchmark::DoNotOptimize(libvariant::write_json(m_interfaces.collect_network_report(),
                                                    {{"pretty", true}, {"precision", 10}}));
}

void Pieces::write_copy() const
{
    libvariant::write_json_file(m_copy_path, m_tree, {{"pretty", true}});
}

int Pieces::post(std::chrono::milliseconds tick)
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
