#include "platform/variant/variant.h"
#include "vosctl/supervisor_link.h"
#include "vosctl/verbs.h"

#include <cstring>
#include <iostream>

namespace vosctl {

namespace {

using libvariant::Variant;

std::string seconds(const Variant& milliseconds)
{
    if (!milliseconds.is_number())
        return "-";
    return libvariant::write_json(milliseconds.get<double>() / 1000) + " s";
}

void print_for_people(const Variant& status)
{
    const bool running = status.at("running");
    std::cout << "daemon          " << (running ? "running" : "not running") << '\n';
    if (running)
        std::cout << "pid             " << status.at("pid") << '\n';
    std::cout << "uptime          " << seconds(status.at("uptime_ms")) << '\n'
              << "last heartbeat  " << seconds(status.at("heartbeat_age_ms")) << " ago\n"
              << "restarts        " << status.at("restarts") << '\n'
              << "control link    " << (status.at("control_link") ? "up" : "down") << '\n';
}

/// The daemon runs, and its last heartbeat is not older than the supervisor
/// bears.
bool is_healthy(const Variant& status)
{
    const auto& age = status.at("heartbeat_age_ms");
    return status.at("running") && age.is_number() &&
           age.get<double>() <= status.at("heartbeat_timeout_ms").get<double>();
}

int no_supervisor(const std::string& why)
{
    std::cerr << "vosctl status: no supervisor at " << ipc_dir() << ": " << why << '\n';
    return exit_no_supervisor;
}

} // namespace

int status(const CommandLine& line)
{
    const bool json = line.arguments == std::vector<std::string>{"--json"};
    if (!json && !line.arguments.empty()) {
        std::cerr << "usage: vosctl status [--json]\n";
        return exit_usage;
    }
    SupervisorLink link;
    if (const int error = link.connect(); error != 0)
        return no_supervisor(std::strerror(error));
    const auto answer = link.ask(ipc_status);
    if (!answer || answer->type != ipc_status_answer)
        return no_supervisor("it does not answer");
    const auto status = libvariant::read_json(answer->text);
    const bool healthy = is_healthy(status);
    if (json) {
        Variant shown = status;
        shown["healthy"] = healthy;
        std::cout << libvariant::write_json(shown, {{"pretty", true}}) << '\n';
    } else {
        print_for_people(status);
    }
    return healthy ? exit_done : exit_failed;
}

} // namespace vosctl
