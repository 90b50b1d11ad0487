#include "vosctl/screen/node_status_text.h"

#include "text/quantities.h"

#include <array>

namespace vosctl {

using nyx_utils::NodeStatus;

std::string accepted_text(const NodeStatus& node, std::time_t now)
{
    if (!node.last_accepted)
        return "none yet";
    std::tm date{};
    std::array<char, 32> stamp{};
    ::gmtime_r(&*node.last_accepted, &date);
    std::strftime(stamp.data(), stamp.size(), "%Y-%m-%dT%H:%M:%SZ", &date);
    return text::duration(now - *node.last_accepted) + " ago, " + stamp.data();
}

std::string failures_text(const NodeStatus& node)
{
    if (node.failures_in_a_row == 0)
        return "none";
    return std::to_string(node.failures_in_a_row) + " in a row: " + node.last_failure;
}

std::string resolver_text(const NodeStatus& node)
{
    auto text = node.resolver.empty() ? "unknown" : node.resolver;
    if (node.name_servers)
        text += ", name servers " + std::to_string(*node.name_servers);
    return text;
}

std::string certificate_text(const NodeStatus& node, std::time_t now)
{
    if (!node.certificate_end)
        return "unreadable: " + node.certificate_failure;
    if (*node.certificate_end <= now)
        return "expired " + text::duration(now - *node.certificate_end) + " ago";
    const auto days = *certificate_days_left(node, now);
    return std::to_string(days) + (days == 1 ? " day left" : " days left");
}

std::optional<std::time_t> certificate_days_left(const NodeStatus& node, std::time_t now)
{
    constexpr std::time_t day = 24 * 60 * 60;
    if (!node.certificate_end)
        return std::nullopt;
    const auto left = *node.certificate_end - now;
    return left >= 0 ? left / day : (left - day + 1) / day;
}

} // namespace vosctl
