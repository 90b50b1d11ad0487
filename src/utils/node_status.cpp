#include "utils/node_status.h"

#include "text/printable.h"

#include <limits>
#include <stdexcept>

namespace nyx_utils {

namespace {

using libvariant::Variant;

/// The year 9999: whoever prints a time must not meet one without a date.
constexpr std::int64_t latest_time = 253'402'300'799;

template <typename T>
Variant or_null(const std::optional<T>& value)
{
    return value ? Variant(*value) : Variant();
}

Variant text_or_null(const std::string& text)
{
    return text.empty() ? Variant() : Variant(text::printable(text, longest_status_text));
}

std::optional<std::int64_t> number_at(const Variant& tree, const char* key, std::int64_t largest)
{
    const auto found = tree.find(key);
    if (found == tree.end() || !found->is_number_integer())
        return std::nullopt;
    if (found->is_number_unsigned() &&
        found->get<std::uint64_t>() > static_cast<std::uint64_t>(largest))
        return std::nullopt;
    const auto value = found->get<std::int64_t>();
    return value >= 0 ? std::optional(value) : std::nullopt;
}

std::optional<std::uint32_t> count_at(const Variant& tree, const char* key)
{
    const auto value = number_at(tree, key, std::numeric_limits<std::uint32_t>::max());
    return value ? std::optional(static_cast<std::uint32_t>(*value)) : std::nullopt;
}

std::string text_at(const Variant& tree, const char* key)
{
    const auto found = tree.find(key);
    const bool is_text = found != tree.end() && found->is_string();
    return is_text ? text::printable(found->get_ref<const std::string&>(), longest_status_text)
                   : "";
}

} // namespace

Variant to_variant(const NodeStatus& status)
{
    return {{"last_accepted", or_null(status.last_accepted)},
            {"failures_in_a_row", status.failures_in_a_row},
            {"last_failure", text_or_null(status.last_failure)},
            {"resolver", text_or_null(status.resolver)},
            {"name_servers", or_null(status.name_servers)},
            {"longest_stall_ms", status.longest_stall_ms},
            {"certificate_end", or_null(status.certificate_end)},
            {"certificate_failure", text_or_null(status.certificate_failure)}};
}

std::optional<NodeStatus> node_status_of(const Variant& tree)
{
    if (!tree.is_object())
        return std::nullopt;
    return NodeStatus{number_at(tree, "last_accepted", latest_time),
                      count_at(tree, "failures_in_a_row").value_or(0),
                      text_at(tree, "last_failure"),
                      text_at(tree, "resolver"),
                      count_at(tree, "name_servers"),
                      count_at(tree, "longest_stall_ms").value_or(0),
                      number_at(tree, "certificate_end", latest_time),
                      text_at(tree, "certificate_failure")};
}

std::optional<NodeStatus> parse_node_status(std::string_view text)
{
    if (text.size() > largest_node_status)
        return std::nullopt;
    const auto tree = Variant::parse(text, nullptr, false);
    return node_status_of(tree);
}

} // namespace nyx_utils
