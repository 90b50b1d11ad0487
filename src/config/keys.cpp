#include "config/keys.h"

#include "text/edit_distance.h"

#include <algorithm>

namespace config {

namespace {

using enum libconfig::Setting::Type;
using enum ReadAt;
using enum Severity;
using enum TextForm;

constexpr Missing no_start{error, "the daemon does not start"};
constexpr Missing no_reports{error, "reporting is disabled"};
constexpr Missing not_sent{warning, "no report is sent"};
constexpr Missing not_signed{warning, "no report can be signed, and none is sent"};
constexpr Missing no_data_center{warning,
                                 "reports say \"N/A\"; no report can be signed, and none is sent"};
constexpr Missing no_copy{warning, "there is no local copy; an empty text says so on purpose"};
constexpr Missing no_meta_data{note, "no report carries it"};

template <typename T>
constexpr Missing otherwise(T fallback)
{
    return {note, "", fallback};
}

constexpr const char* property_file = "path of a log4cpp property file";
constexpr const char* bounded = "it counts as 10";
constexpr const char* by_default = "its default is used";

constexpr KnownKey table[] = {
    {key::vos_id, TypeString, "", reload, no_start, filled},
    {key::vos_public_ip, TypeString, "", reload, no_start, filled},
    {key::datacenter_id, TypeString, "", reload, no_data_center, query_value},
    {key::zel_report_url, TypeString, "scheme://host:port", use, not_sent, url},
    {key::zel_http_client_timeout_sec, TypeInt, "s", use, not_sent, any, 1,
     "a post to a silent server never ends", error, 2147483,
     "libcurl takes 2147483 at most, and no report is sent"},
    {key::hmac_secret, TypeString, "from vosctl seal", use, not_signed, filled},
    {key::hmac_timeout, TypeInt, "ms", use, not_signed, any, 1, not_signed.follows},
    {key::hmac_key_file, TypeString, "path", use, otherwise(default_hmac_key_file), filled},
    {key::polling_rate_ms, TypeInt, "ms", reload, no_reports, any, least_interval_ms, bounded,
     warning},
    {key::message_check_timeout_ms, TypeInt, "ms", use, otherwise(default_message_check_timeout_ms),
     any, least_interval_ms, bounded, warning},
    {key::max_thread_runtime_ms, TypeInt, "ms", start, no_start, any, 1001,
     "every pass of the CPU sampler, which sleeps for a second, is warned about", warning},
    {key::quiet_node, TypeBoolean, "", start, otherwise(default_quiet_node)},
    {key::log_config_file, TypeString, property_file, reload, no_start, filled},
    {key::report_path, TypeString, "path on the server", start, no_start, server_path},
    {key::report_freq, TypeInt, "ms", reload, no_reports, any, 0,
     "no reports are collected; 0 says so on purpose", warning},
    {key::local_json_report_path, TypeString, "path", reload, no_copy},
    {key::zel_meta_data, TypeString, "JSON", use, no_meta_data, json},
    {key::builtin_commands, TypeBoolean, "", use, otherwise(default_builtin_commands)},
    {key::watchdog_log_config_file, TypeString, property_file, start,
     otherwise(key::log_config_file), filled},
    {key::heartbeat_timeout_ms, TypeInt, "ms", start, otherwise(default_heartbeat_timeout_ms), any,
     1001, "a daemon that is well, with a heartbeat a second, is ended; below 1 10000 is used"},
    {key::kill_delay_ms, TypeInt, "ms", start, otherwise(default_kill_delay_ms), any, 1, by_default,
     warning},
    {key::stop_timeout_ms, TypeInt, "ms", start, otherwise(default_stop_timeout_ms), any, 1,
     by_default, warning},
    {key::restart_delay_ms, TypeInt, "ms", start, otherwise(default_restart_delay_ms), any, 1,
     by_default, warning},
    {key::longest_restart_delay_ms, TypeInt, "ms", start,
     otherwise(default_longest_restart_delay_ms), any, 1, by_default, warning},
};

std::string_view last_name(std::string_view path)
{
    return path.substr(path.rfind('.') + 1);
}

} // namespace

std::span<const KnownKey> known_keys()
{
    return table;
}

std::string fallback_text(const KnownKey& key)
{
    if (const auto* number = std::get_if<int>(&key.missing.fallback))
        return std::to_string(*number);
    if (const auto* flag = std::get_if<bool>(&key.missing.fallback))
        return *flag ? "true" : "false";
    const auto* text = std::get_if<const char*>(&key.missing.fallback);
    return text != nullptr ? *text : "";
}

std::string consequence(const KnownKey& key)
{
    const auto value = fallback_text(key);
    return value.empty() ? key.missing.follows : value + " is used";
}

const char* restart_text(const KnownKey& key)
{
    if (key.read_at != ReadAt::start)
        return "";
    return std::string_view(key.path).starts_with("Watchdog.")
               ? "the supervisor (systemctl restart vos-monitor)"
               : "the daemon (vosctl stop)";
}

const KnownKey* find_known_key(std::string_view path)
{
    const auto* found = std::ranges::find(table, path, &KnownKey::path);
    return found != std::end(table) ? found : nullptr;
}

bool is_known_group(std::string_view name)
{
    return std::ranges::any_of(table, [name](const KnownKey& key) {
        const std::string_view path = key.path;
        return path.substr(0, path.find('.')) == name;
    });
}

const char* nearest_known_path(std::string_view path)
{
    constexpr std::size_t longest_compared = 100;
    constexpr std::size_t farthest = 3;
    if (path.size() > longest_compared)
        return nullptr;
    const char* nearest = nullptr;
    auto least = farthest + 1;
    for (const auto& key : table) {
        // The right name in the wrong group is near as well.
        const auto distance =
            last_name(key.path) == last_name(path) ? 1 : text::edit_distance(key.path, path);
        if (distance < least) {
            least = distance;
            nearest = key.path;
        }
    }
    return nearest;
}

} // namespace config
