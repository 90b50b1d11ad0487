// Every setting that a program of the node reads from its configuration: the
// names that readers look up, the defaults that they take, and the table that
// `vosctl check` and the documents are held against.
#pragma once

#include <libconfig.h++>

#include <climits>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace config {

/// The dotted paths.
namespace key {

constexpr const char* vos_id = "General.vos_id";
constexpr const char* vos_public_ip = "General.vos_public_ip";
constexpr const char* datacenter_id = "General.datacenter_id";
constexpr const char* zel_report_url = "General.zel_report_url";
constexpr const char* zel_http_client_timeout_sec = "General.zel_http_client_timeout_sec";
constexpr const char* hmac_secret = "General.hmac_secret";
constexpr const char* hmac_timeout = "General.hmac_timeout";
constexpr const char* hmac_key_file = "General.hmac_key_file";
constexpr const char* polling_rate_ms = "General.polling_rate_ms";
constexpr const char* message_check_timeout_ms = "General.message_check_timeout_ms";
constexpr const char* max_thread_runtime_ms = "General.max_thread_runtime_ms";
constexpr const char* quiet_node = "General.quiet_node";
constexpr const char* log_config_file = "Monitoring.log_config_file";
constexpr const char* report_path = "Monitoring.report_path";
constexpr const char* report_freq = "Monitoring.report_freq";
constexpr const char* local_json_report_path = "Monitoring.local_json_report_path";
constexpr const char* zel_meta_data = "Monitoring.zel_meta_data";
constexpr const char* builtin_commands = "Monitoring.builtin_commands";
constexpr const char* watchdog_log_config_file = "Watchdog.log_config_file";
constexpr const char* heartbeat_timeout_ms = "Watchdog.heartbeat_timeout_ms";
constexpr const char* kill_delay_ms = "Watchdog.kill_delay_ms";
constexpr const char* stop_timeout_ms = "Watchdog.stop_timeout_ms";
constexpr const char* restart_delay_ms = "Watchdog.restart_delay_ms";
constexpr const char* longest_restart_delay_ms = "Watchdog.longest_restart_delay_ms";

} // namespace key

constexpr const char* default_hmac_key_file = "/opt/vos/secret.key";
constexpr int default_message_check_timeout_ms = 5000;
/// What "General.polling_rate_ms" and "General.message_check_timeout_ms" are at least.
constexpr int least_interval_ms = 10;
constexpr bool default_quiet_node = false;
constexpr bool default_builtin_commands = false;
constexpr int default_heartbeat_timeout_ms = 10000;
constexpr int default_kill_delay_ms = 2000;
constexpr int default_stop_timeout_ms = 5000;
constexpr int default_restart_delay_ms = 1000;
constexpr int default_longest_restart_delay_ms = 60000;

/// Certificate and key of the agent in one PEM file; no key names another.
constexpr const char* client_certificate_file = "/opt/vos/client.pem";

/// How bad a finding is. A reload is refused for an error; a note is none of
/// the file's faults and leaves it clean.
enum class Severity { note, warning, error };

/// When a key is read. The file itself is read at start and at a reload only.
enum class ReadAt {
    start,  ///< at start only: a change needs the program's restart
    reload, ///< at start and at each reload
    use,    ///< whenever it is needed, from the file as the latest of both found it
};

/// What the text of a setting has to look like.
enum class TextForm { any, filled, url, server_path, query_value, json };

/// What comes of a key that is missing or of another type: its default is taken,
/// or something follows.
struct Missing {
    Severity severity{Severity::note}; ///< note: it is nothing to tell
    const char* follows{""};           ///< empty when there is a default
    /// The default. A text that is a known path stands for that key's value.
    std::variant<std::monostate, int, bool, const char*> fallback{};
};

struct KnownKey { // NOLINT(clang-analyzer-optin.performance.Padding): as the table reads
    const char* path;
    libconfig::Setting::Type type;
    const char* unit; ///< of a number; of a text, what it stands for; may be empty
    ReadAt read_at;
    Missing missing;
    TextForm form{};                ///< of a text
    int least{INT_MIN};             ///< smallest number that does no harm
    const char* too_small{""};      ///< what follows below that
    Severity harm{Severity::error}; ///< how bad that is
    int most{INT_MAX};              ///< largest number that its reader takes
    const char* too_large{""};      ///< what follows above that: an error
};

/// The table.
std::span<const KnownKey> known_keys();

/// The default of `key` as text; empty when it has none.
std::string fallback_text(const KnownKey& key);

/// What follows when `key` is missing or of another type, also when that is its
/// default.
std::string consequence(const KnownKey& key);

/// What has to start anew before a change of `key` counts, and how that is done;
/// empty when a reload is enough.
const char* restart_text(const KnownKey& key);

/// The entry of `path`; null when there is none.
const KnownKey* find_known_key(std::string_view path);

/// Whether some known key lies in the group `name`.
bool is_known_group(std::string_view name);

/// The known path that `path` was probably meant to be; null when none is near.
const char* nearest_known_path(std::string_view path);

} // namespace config
