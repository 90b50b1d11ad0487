// Sets of TCP and UDP ports, as configurations write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace nyx {

/// The ports from `first` to `last`, both included.
struct PortRange {
    std::uint16_t first{};
    std::uint16_t last{};
    bool operator==(const PortRange&) const = default;
};

/// The range between two numbers. Nothing when they are no ports (0 to 65535)
/// or stand the wrong way round.
std::optional<PortRange> make_port_range(long long first, long long last);

/// Parses "8000-8010" (also with ":" and blanks) or the single "80". Nothing
/// for anything else.
std::optional<PortRange> parse_port_range(std::string_view text);

/// "8000-8010", or "80" for a single port.
std::string port_range_text(const PortRange& range);

/// The union: ascending, with overlapping and adjacent ranges joined.
std::vector<PortRange> join_port_ranges(std::vector<PortRange> ranges);

} // namespace nyx
