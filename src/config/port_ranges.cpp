#include "config/port_ranges.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace nyx {

namespace {

std::string_view without_blanks(std::string_view text)
{
    const auto first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

/// Digits alone, or -1.
long long parse_port(std::string_view text)
{
    text = without_blanks(text);
    std::uint16_t port = 0;
    const auto* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, port);
    return parsed.ec == std::errc() && parsed.ptr == end ? port : -1;
}

} // namespace

std::optional<PortRange> make_port_range(long long first, long long last)
{
    if (first < 0 || first > last || last > std::numeric_limits<std::uint16_t>::max())
        return std::nullopt;
    return PortRange{static_cast<std::uint16_t>(first), static_cast<std::uint16_t>(last)};
}

std::optional<PortRange> parse_port_range(std::string_view text)
{
    const auto dash = text.find_first_of("-:");
    const auto first = parse_port(text.substr(0, dash));
    const auto last = dash == std::string_view::npos ? first : parse_port(text.substr(dash + 1));
    return make_port_range(first, last);
}

std::string port_range_text(const PortRange& range)
{
    auto text = std::to_string(range.first);
    return range.first == range.last ? text : text + '-' + std::to_string(range.last);
}

std::vector<PortRange> join_port_ranges(std::vector<PortRange> ranges)
{
    std::sort(ranges.begin(), ranges.end(),
              [](const PortRange& a, const PortRange& b) { return a.first < b.first; });
    std::vector<PortRange> joined;
    for (const auto& range : ranges) {
        // Compared as int: one past the last port is no port.
        if (joined.empty() || range.first > joined.back().last + 1)
            joined.push_back(range);
        else
            joined.back().last = std::max(joined.back().last, range.last);
    }
    return joined;
}

} // namespace nyx
