#include "stats/proc_stats.h"

#include "platform/logger/sup_logger.h"
#include "platform/process/held_signal.h"
#include "platform/process/process_line.h"
#include "utils/nyx_helper.h"

#include <cstdlib>
#include <iterator>
#include <optional>

namespace {

using Found = std::vector<std::pair<int, std::string>>;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Process");
    return instance;
}

/// The children of `pid`; nothing when pgrep fails, or may have been cut short.
std::optional<Found> list_children(int pid)
{
    constexpr int no_match = 1;
    const auto command = "/usr/bin/pgrep -P " + std::to_string(pid) + " -l";
    std::string output;
    const int code = nyx::Helper::run_cmd_stderr(command, output);
    if (platform::signal_waits(SIGTERM))
        return std::nullopt;
    if (code == no_match)
        return Found{};
    if (code > no_match) {
        logger().warning("get_running_processes: Syntax error while running ", command,
                         " (return code ", code, "). command output: ", output);
        return std::nullopt;
    }
    Found children;
    for (const auto& line : nyx::Helper::deserialize_strings(output, '\n')) {
        if (auto child = platform::parse_process_line(line))
            children.push_back(std::move(*child));
        else
            logger().error("get_running_processes: failed to read process name and pid from line: ",
                           line);
    }
    return children;
}

} // namespace

void Process::get_running_services(const std::vector<std::string>& services, Found& out)
{
    for (const auto& service : services) {
        if (platform::signal_waits(SIGTERM))
            return;
        const auto output = nyx::Helper::run_cmd("/usr/bin/pgrep " + service);
        for (const auto& line : nyx::Helper::deserialize_strings(output, '\n'))
            out.emplace_back(static_cast<int>(std::strtol(line.c_str(), nullptr, 10)), service);
    }
}

bool Process::get_running_processes(int pid, const std::string& name, Found& out)
{
    if (name.find_first_not_of(' ') == std::string::npos)
        return false;
    // A stack on the heap: how deep the tree is, is up to the processes in it.
    Found waiting{{pid, name}};
    while (!waiting.empty()) {
        out.push_back(std::move(waiting.back()));
        waiting.pop_back();
        if (platform::signal_waits(SIGTERM))
            return false;
        auto children = list_children(out.back().first);
        if (!children)
            return false;
        waiting.insert(waiting.end(), std::make_move_iterator(children->rbegin()),
                       std::make_move_iterator(children->rend()));
    }
    return true;
}
