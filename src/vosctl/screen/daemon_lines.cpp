#include "vosctl/screen/daemon_lines.h"

#include "text/quantities.h"
#include "vosctl/screen/document_values.h"
#include "vosctl/screen/node_status_text.h"

#include <cmath>

namespace vosctl {

namespace {

using libvariant::Variant;
using nyx_utils::NodeStatus;

std::string uptime(const Variant& status)
{
    const double milliseconds = number_at(status, "uptime_ms");
    return std::isfinite(milliseconds) ? text::duration(std::llround(milliseconds / 1000)) : "-";
}

std::string daemon_line(const Variant& status, const ScreenStyle& style)
{
    const bool running = member(status, "running") == Variant(true);
    const double age = number_at(status, "heartbeat_age_ms");
    const bool well = running && age <= number_at(status, "heartbeat_timeout_ms");
    auto line = labelled("daemon", style);
    line.text(!running ? "down" : well ? "well" : "not well", well ? Colour::green : Colour::red);
    if (running)
        line.text(", pid " + integer_at(status, "pid") + ", up " + uptime(status) + ", heartbeat " +
                  text::decimal(age / 1000) + " s ago");
    line.text(", restarts " + integer_at(status, "restarts"));
    if (member(status, "control_link") != Variant(true))
        line.text(", no control link");
    return line.str();
}

std::string report_line(const NodeStatus& node, std::time_t now, const ScreenStyle& style)
{
    auto line = labelled("report", style);
    if (node.failures_in_a_row > 0)
        line.text("failed, " + failures_text(node), Colour::red)
            .text(", last accepted " + accepted_text(node, now));
    else
        line.text("accepted " + accepted_text(node, now),
                  node.last_accepted ? Colour::green : Colour::plain);
    return line.str();
}

std::string resolver_line(const NodeStatus& node, std::time_t now, const ScreenStyle& style)
{
    constexpr std::time_t soon = 14;
    const auto days = certificate_days_left(node, now);
    return labelled("resolver", style)
        .text(resolver_text(node) + ", longest stall " + std::to_string(node.longest_stall_ms) +
              " ms, certificate ")
        .text(certificate_text(node, now), !days || *days < soon ? Colour::yellow : Colour::plain)
        .str();
}

} // namespace

Lines daemon_lines(const Variant& status, std::time_t now, const ScreenStyle& style)
{
    if (!status.is_object())
        return {labelled("daemon", style).text("no supervisor", Colour::yellow).str()};
    const auto node = nyx_utils::node_status_of(member(status, "node"));
    if (!node)
        return {daemon_line(status, style), labelled("report", style).text("-").str()};
    return {daemon_line(status, style), report_line(*node, now, style),
            resolver_line(*node, now, style)};
}

} // namespace vosctl
