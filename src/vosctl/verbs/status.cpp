#include "vosctl/verbs/verbs.h"

#include "platform/variant/variant.h"
#include "vosctl/link/supervisor_link.h"
#include "vosctl/screen/node_status_text.h"
#include "vosctl/verbs/request.h"

#include <ctime>
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

/// What the daemon reported of itself; no lines when the supervisor or the
/// daemon is of a release that does not report it.
void print_node(const Variant& status)
{
    const auto node = nyx_utils::node_status_of(status.value("node", Variant()));
    if (!node)
        return;
    const auto now = std::time(nullptr);
    std::cout << "last accepted   " << accepted_text(*node, now) << '\n'
              << "failures        " << failures_text(*node) << '\n'
              << "resolver        " << resolver_text(*node) << '\n'
              << "longest stall   " << node->longest_stall_ms << " ms\n"
              << "certificate     " << certificate_text(*node, now) << '\n';
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
    print_node(status);
}

/// The daemon runs, and its last heartbeat is not older than the supervisor
/// bears.
bool is_healthy(const Variant& status)
{
    const auto& age = status.at("heartbeat_age_ms");
    return status.at("running") && age.is_number() &&
           age.get<double>() <= status.at("heartbeat_timeout_ms").get<double>();
}

/// What print_json() adds to what the daemon reported: times, counted from `now`.
Variant ages_of(const nyx_utils::NodeStatus& node, std::time_t now)
{
    const auto days = certificate_days_left(node, now);
    return {{"last_accepted_age_s",
             node.last_accepted ? Variant(now - *node.last_accepted) : Variant()},
            {"certificate_days_left", days ? Variant(*days) : Variant()}};
}

void print_json(Variant status, bool healthy)
{
    status["healthy"] = healthy;
    if (const auto node = nyx_utils::node_status_of(status.value("node", Variant())))
        status["node"].update(ages_of(*node, std::time(nullptr)));
    std::cout << libvariant::write_json(status, {{"pretty", true}}) << '\n';
}

int run(const CommandLine& line)
{
    const bool json = line.arguments == std::vector<std::string>{"--json"};
    if (!json && !line.arguments.empty())
        throw UsageError{};
    auto link = SupervisorLink::connect();
    if (!link)
        return no_supervisor(line.verb, link.reason());
    const auto status = link->ask_status();
    if (status.is_null())
        return no_supervisor(line.verb, "it does not answer");
    const bool healthy = is_healthy(status);
    if (json)
        print_json(status, healthy);
    else
        print_for_people(status);
    return healthy ? exit_done : exit_failed;
}

} // namespace

constinit const Verb status_verb{
    .name = "status",
    .arguments = "[--json]",
    .summary = "show how the daemon is; --json for programs",
    .help = "Shows how the daemon is, as its supervisor sees it. Ends with 0 when it is\n"
            "healthy, 1 when it is not running or not well. The lines from \"last accepted\"\n"
            "on are what the daemon told after its last report.\n",
    .run = run,
};

} // namespace vosctl
