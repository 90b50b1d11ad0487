#include "config/keys.h"

#include "text/edit_distance.h"

#include <algorithm>

namespace config {

namespace {

using libconfig::Setting;
using enum TextForm;
using enum Severity;

constexpr const char* no_start = "the daemon does not start";
constexpr const char* no_reports = "reporting is disabled";
constexpr const char* not_sent = "no report is sent";
constexpr const char* not_signed = "no report can be signed, and none is sent";
constexpr const char* spins = "the daemon's loop spins and takes a whole processor";
constexpr const char* by_default = "its default is used";

constexpr KnownKey table[] = {
    {"General.vos_id", Setting::TypeString, true, error, no_start, filled},
    {"General.vos_public_ip", Setting::TypeString, true, error, no_start, filled},
    {"General.datacenter_id", Setting::TypeString, true, warning,
     "reports say \"N/A\"; no report can be signed, and none is sent", filled},
    {"General.zel_report_url", Setting::TypeString, true, warning, not_sent, url},
    {"General.zel_http_client_timeout_sec", Setting::TypeInt, true, warning, not_sent, any, 1,
     "a post to a silent server never ends", error},
    {"General.hmac_secret", Setting::TypeString, true, warning, not_signed, filled},
    {"General.hmac_timeout", Setting::TypeInt, true, warning, not_signed, any, 1, not_signed,
     error},
    {"General.hmac_key_file", Setting::TypeString, false, note, "/opt/vos/secret.key is used",
     filled},
    {"General.polling_rate_ms", Setting::TypeInt, true, error, no_reports, any, 1, spins},
    {"General.message_check_timeout_ms", Setting::TypeInt, false, note, "5000 is used", any, 1,
     spins},
    {"General.max_thread_runtime_ms", Setting::TypeInt, true, error, no_start, any, 1001,
     "every pass of the CPU sampler, which sleeps for a second, is warned about", warning},
    {"General.quiet_node", Setting::TypeBoolean, false, note, "false is used"},
    {"Monitoring.log_config_file", Setting::TypeString, true, error, no_start, filled},
    {"Monitoring.report_path", Setting::TypeString, true, error, no_start, server_path},
    {"Monitoring.report_freq", Setting::TypeInt, true, error, no_reports, any, 0,
     "no reports are collected; 0 says so on purpose", warning},
    {"Monitoring.local_json_report_path", Setting::TypeString, true, warning,
     "there is no local copy; an empty text says so on purpose"},
    {"Monitoring.zel_meta_data", Setting::TypeString, false, note, "no report carries it", json},
    {"Monitoring.builtin_commands", Setting::TypeBoolean, false, note, "false is used"},
    {"Watchdog.log_config_file", Setting::TypeString, false, note,
     "Monitoring.log_config_file is used", filled},
    {"Watchdog.heartbeat_timeout_ms", Setting::TypeInt, false, note, "10000 is used", any, 1001,
     "a daemon that is well, with a heartbeat a second, is ended; below 1 10000 is used"},
    {"Watchdog.kill_delay_ms", Setting::TypeInt, false, note, "2000 is used", any, 1, by_default,
     warning},
    {"Watchdog.stop_timeout_ms", Setting::TypeInt, false, note, "5000 is used", any, 1, by_default,
     warning},
    {"Watchdog.restart_delay_ms", Setting::TypeInt, false, note, "1000 is used", any, 1, by_default,
     warning},
    {"Watchdog.longest_restart_delay_ms", Setting::TypeInt, false, note, "60000 is used", any, 1,
     by_default, warning},
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
