#include "vosctl/verbs/verbs.h"

#include "common/nyx_configurator.h"
#include "platform/logger/log_settings.h"
#include "text/words.h"
#include "vosctl/link/supervisor_link.h"
#include "vosctl/verbs/measurement.h"

#include <unistd.h>

#include <chrono>
#include <iostream>
#include <string>
#include <thread>

namespace vosctl {

namespace {

using std::chrono::seconds;

seconds parse_interval(const std::vector<std::string>& arguments)
{
    constexpr unsigned longest = 3600;
    if (arguments.empty())
        return seconds{1};
    if (arguments.size() == 2 && arguments[0] == "--interval") {
        const auto count = text::to_number<unsigned>(arguments[1]);
        if (count && *count != 0 && *count <= longest)
            return seconds{*count};
    }
    throw UsageError{.limits = "1 to " + std::to_string(longest) + " (1)"};
}

/// Under which process the monitored ones are: the supervisor, or what a
/// daemon without one would take.
int supervisor_pid()
{
    const auto link = SupervisorLink::connect();
    if (link && link->peer() != 0)
        return link->peer();
    // One of another namespace of processes answers, but is none that is seen here.
    const std::string why = link ? "Success" : link.reason();
    std::cerr << "vosctl report: no supervisor at " << ipc_dir() << " (" << why
              << "); its processes are not in the report\n";
    return ::getppid();
}

/// The second of two documents, `interval` apart.
libvariant::Variant measure(nyx::AConfigurator& conf, int root_pid, seconds interval)
{
    const auto document = start_measuring(conf);
    const auto begin = std::chrono::steady_clock::now();
    document->collect(root_pid);
    std::this_thread::sleep_until(begin + interval);
    return document->collect(root_pid);
}

int run(const CommandLine& line)
{
    const auto interval = parse_interval(line.arguments);
    LogSettings::use_standard_error(LogLevel::warning);
    nyx::AConfigurator conf(line.config.c_str(), false);
    nyx::TheConfigurator::set_configurator(&conf);
    const auto root = measure(conf, supervisor_pid(), interval);
    std::cout << HealthDocument::transmitted_text(root) << '\n' << std::flush;
    if (std::cout)
        return exit_done;
    std::cerr << "vosctl report: standard output can not be written\n";
    return exit_failed;
}

} // namespace

constinit const Verb report_verb{
    .name = "report",
    .arguments = "[--interval SECONDS]",
    .summary = "measure this machine for --interval SECONDS (1), and print a report",
    .help = "Measures this machine, without a daemon, and prints one report as JSON; nothing\n"
            "is sent. Rates and shares are of the interval, 1 to 3600 seconds (1).\n",
    .run = run,
};

} // namespace vosctl
