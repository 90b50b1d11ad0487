#include "vosctl/check/file_probes.h"

#include "config/keys.h"
#include "net/ns_manager.h"
#include "net/zel_http_client.h"
#include "platform/crypto/sealed_secret.h"
#include "platform/file/text_file.h"
#include "platform/logger/log_settings.h"
#include "text/result.h"
#include "text/server_url.h"
#include "utils/nyx_helper.h"
#include "vosctl/check/log_files.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <list>
#include <string>

namespace vosctl {

namespace {

constexpr const char* key_file_key = config::key::hmac_key_file;
constexpr const char* secret_key = config::key::hmac_secret;
constexpr const char* url_key = config::key::zel_report_url;
constexpr const char* local_report_key = config::key::local_json_report_path;

std::string string_at(const libconfig::Config& config, const char* path)
{
    std::string value;
    config.lookupValue(path, value);
    return value;
}

text::Outcome may_access(const std::string& path, int mode)
{
    if (::access(path.c_str(), mode) == 0)
        return text::done();
    return text::Failure{std::strerror(errno)};
}

/// Whether the file at `path` could be written, made if need be.
text::Outcome may_write(const std::string& path)
{
    struct stat found {};
    if (::stat(path.c_str(), &found) == 0)
        return S_ISDIR(found.st_mode) ? text::Failure{std::strerror(EISDIR)}
                                      : may_access(path, W_OK);
    if (errno != ENOENT)
        return text::Failure{std::strerror(errno)};
    const auto slash = path.rfind('/');
    return may_access(slash == std::string::npos ? "." : path.substr(0, slash + 1), W_OK | X_OK);
}

/// Whether there is a file at `path` that can be read.
text::Outcome may_read(const std::string& path)
{
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0)
        return text::Failure{std::strerror(errno)};
    auto readable = may_access(path, R_OK);
    if (readable && !S_ISREG(found.st_mode))
        return text::Failure{"not a regular file"};
    return readable;
}

void probe_secret(const libconfig::Config& config, Findings& findings)
{
    const auto secret = string_at(config, secret_key);
    const bool sealed = !secret.empty() && secret != unsealed_secret;
    const bool named = config.exists(key_file_key);
    if (secret == unsealed_secret)
        findings.push_back({Severity::note, secret_key,
                            "is the example's: no report can be signed before \"vosctl seal\""});
    auto path = string_at(config, key_file_key);
    if (!named)
        path = config::default_hmac_key_file;
    if (path.empty() || (!named && !sealed))
        return;
    const auto key = platform::read_key_file(path);
    if (!key)
        findings.push_back({Severity::error, key_file_key,
                            key.reason() + ": no report can be signed, and none is sent"});
    else if (sealed && !platform::open_secret(*key, secret))
        findings.push_back(
            {Severity::error, secret_key,
             "is malformed or was not sealed under the key in " + path + ": no report is sent"});
}

void probe_certificate(const libconfig::Config& config, Findings& findings)
{
    const auto secret = string_at(config, secret_key);
    if (secret.empty() || secret == unsealed_secret ||
        !string_at(config, url_key).starts_with("https:"))
        return;
    const std::string path = config::client_certificate_file;
    if (const auto readable = may_read(path); !readable)
        findings.push_back(
            {Severity::warning, url_key,
             "client certificate " + path + ": " + readable.reason() + ": no report gets through"});
}

void probe_log(const libconfig::Config& config, const char* key, Findings& findings)
{
    const auto path = string_at(config, key);
    if (path.empty())
        return;
    const auto properties = platform::read_text_file(path).value_or("");
    if (const auto loads = LogSettings::check(path); !loads) {
        // The daemon may have other variables in its environment.
        const bool certain = properties.find("${") == std::string::npos;
        findings.push_back({certain ? Severity::error : Severity::warning, key,
                            loads.reason() + ": the program does not start"});
        return;
    }
    for (const auto& file : log_files(properties)) {
        const auto writable = may_write(file.path);
        if (writable)
            continue;
        auto message = "log file " + file.path + " of appender " + file.appender;
        message.append(" in ").append(path).append(": ").append(writable.reason());
        message += ": its records go to standard error until it can be";
        findings.push_back({Severity::error, key, message});
    }
}

void probe_local_report(const libconfig::Config& config, Findings& findings)
{
    const auto path = string_at(config, local_report_key);
    if (path.empty())
        return;
    struct stat found {};
    const bool exists = ::stat(path.c_str(), &found) == 0;
    if (const auto writable = may_write(path); !writable)
        findings.push_back({Severity::note, local_report_key,
                            path + ": " + writable.reason() + ": no report is kept or sent"});
    else if (exists && !S_ISREG(found.st_mode))
        findings.push_back({Severity::warning, local_report_key,
                            path + " is no regular file: each report is written to it as it is, "
                                   "and its readers may see parts"});
}

/// Whether the machine has to ask name servers for `host`.
bool is_asked_for(const std::string& host)
{
    std::list<in_addr> known;
    return !nyx::Helper::is_valid_ip_address(host) &&
           !nyx::Helper::try_static_resolution(host, known);
}

/// A report that waits for its name gives way to the next one.
void probe_name_servers(const libconfig::Config& config, Findings& findings)
{
    int period_ms = 0;
    config.lookupValue(config::key::report_freq, period_ms);
    const auto url = text::split_server_url(string_at(config, url_key));
    if (period_ms <= 0 || !url || !is_asked_for(url->host))
        return;
    const auto servers = nyx::NSManeger::load_initial_ns().size();
    const auto longest_ms = servers * nyx::silent_name_server_ms;
    if (static_cast<unsigned>(period_ms) < longest_ms)
        findings.push_back(
            {Severity::note, config::key::report_freq,
             "is " + std::to_string(period_ms) + ", less than the " + std::to_string(longest_ms) +
                 " ms that " + std::to_string(servers) +
                 " silent name servers take: each report "
                 "replaces the one before while that waits for its name, and a node that never "
                 "found the server sends none; set that much, or an address in " +
                 url_key});
}

} // namespace

Findings probe_files(const libconfig::Config& config)
{
    Findings findings;
    probe_secret(config, findings);
    probe_certificate(config, findings);
    probe_log(config, config::key::log_config_file, findings);
    probe_log(config, config::key::watchdog_log_config_file, findings);
    probe_local_report(config, findings);
    probe_name_servers(config, findings);
    return findings;
}

} // namespace vosctl
