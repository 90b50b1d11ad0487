// What the daemon tells its supervisor of itself, as a value and as JSON text.
#pragma once

#include "platform/variant/variant.h"

#include <cstdint>
#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace nyx_utils {

/// Times are seconds since 1970.
struct NodeStatus {
    std::optional<std::time_t> last_accepted; ///< a report got through; nothing: none has yet
    std::uint32_t failures_in_a_row{0};       ///< reports since then that did not
    std::string last_failure;                 ///< why the last of those did not
    std::string resolver;                     ///< see nyx::ResolverState
    std::optional<std::uint32_t> name_servers;
    std::uint32_t longest_stall_ms{0}; ///< see nyx::LoopStall
    std::optional<std::time_t> certificate_end;
    std::string certificate_failure; ///< why there is no end
    bool operator==(const NodeStatus&) const = default;
};

/// No more than this is taken, in a record and in one of its texts.
constexpr std::size_t largest_node_status = 2048;
constexpr std::size_t longest_status_text = 200;

/// The JSON object for `status`, texts cut and printable. Pure.
libvariant::Variant to_variant(const NodeStatus& status);

/// Reads such an object. A member that is missing or of another type is absent;
/// members that are not known are passed over. Nothing when `tree` is no
/// object. Pure.
std::optional<NodeStatus> node_status_of(const libvariant::Variant& tree);

/// Reads the text of a record. Nothing when it is no JSON object, or too large.
/// Pure.
std::optional<NodeStatus> parse_node_status(std::string_view text);

} // namespace nyx_utils
