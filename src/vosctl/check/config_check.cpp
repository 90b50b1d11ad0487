#include "vosctl/check/config_check.h"

#include "config/keys.h"
#include "config/setting_copy.h"
#include "config/source_text.h"
#include "vosctl/check/text_forms.h"

#include <cstdint>

namespace vosctl {

namespace {

using libconfig::Setting;

std::string wrong_type(const Setting& setting, Setting::Type wanted)
{
    return std::string("is ") + nyx::type_text(setting.getType()) + ", not " +
           nyx::type_text(wanted);
}

void check_number(int value, const config::KnownKey& key, unsigned int line, Findings& findings)
{
    const auto is = "is " + std::to_string(value) + ": ";
    if (value < key.least)
        findings.push_back({key.harm, key.path, is + key.too_small, line});
    else if (value > key.most)
        findings.push_back({Severity::error, key.path, is + key.too_large, line});
}

void check_value(const Setting& setting, const config::KnownKey& key, Findings& findings)
{
    if (setting.getType() != key.type) {
        findings.push_back(
            {Severity::error, key.path,
             wrong_type(setting, key.type) + ", and counts as missing: " + config::consequence(key),
             setting.getSourceLine()});
        return;
    }
    if (key.type == Setting::TypeInt) {
        check_number(setting, key, setting.getSourceLine(), findings);
    } else if (key.type == Setting::TypeString) {
        if (const auto fits = check_text(setting, key.form); !fits)
            findings.push_back({Severity::error, key.path, fits.reason(), setting.getSourceLine()});
    }
}

/// A post is driven on at each poll, and ends where its time-out does.
void check_polls(const libconfig::Config& config, Findings& findings)
{
    constexpr std::int64_t polls = 6; // to connect, agree on TLS, send and get the answer
    constexpr std::int64_t ms_per_s = 1000;
    int rate_ms = 0;
    int timeout_s = 0;
    if (!config.lookupValue(config::key::polling_rate_ms, rate_ms) ||
        !config.lookupValue(config::key::zel_http_client_timeout_sec, timeout_s) ||
        timeout_s <= 0 || polls * rate_ms <= timeout_s * ms_per_s)
        return;
    findings.push_back(
        {Severity::warning, config::key::polling_rate_ms,
         "is " + std::to_string(rate_ms) + ": a post takes up to " + std::to_string(polls) +
             " polls, and is given up after the " + std::to_string(timeout_s) + " s of " +
             config::key::zel_http_client_timeout_sec + ": reports get lost; set at most " +
             std::to_string(timeout_s * ms_per_s / polls) + ", or a longer time-out",
         config.lookup(config::key::polling_rate_ms).getSourceLine()});
}

void report_unknown(const Setting& setting, Findings& findings)
{
    const auto path = setting.getPath();
    std::string message = setting.isGroup() ? "unknown group" : "unknown key";
    if (const char* near = config::nearest_known_path(path))
        message += std::string(", perhaps meant: ") + near;
    findings.push_back({Severity::warning, path, message, setting.getSourceLine()});
}

void find_unknown(const Setting& group, Findings& findings)
{
    for (int i = 0; i < group.getLength(); ++i) {
        const Setting& setting = group[i];
        if (!group.isRoot() || !config::is_known_group(setting.getName())) {
            if (config::find_known_key(setting.getPath()) == nullptr)
                report_unknown(setting, findings);
        } else if (setting.isGroup()) {
            find_unknown(setting, findings);
        } else {
            findings.push_back(
                {Severity::error, setting.getPath(),
                 wrong_type(setting, Setting::TypeGroup) + ": all of its keys count as missing",
                 setting.getSourceLine()});
        }
    }
}

} // namespace

Findings check_tree(const libconfig::Config& config)
{
    Findings findings;
    find_unknown(config.getRoot(), findings);
    for (const auto& key : config::known_keys()) {
        if (config.exists(key.path))
            check_value(config.lookup(key.path), key, findings);
        else if (key.missing.severity != Severity::note)
            findings.push_back(
                {key.missing.severity, key.path, "missing: " + config::consequence(key)});
    }
    check_polls(config, findings);
    return findings;
}

Findings check_numbers(const std::string& text)
{
    Findings findings;
    for (const auto& number : nyx::ConfigText(text).cut_numbers()) {
        const auto* key = config::find_known_key(number.path);
        if (key != nullptr && key->type == Setting::TypeInt)
            findings.push_back({Severity::error, number.path, number.fault, number.line});
    }
    return findings;
}

} // namespace vosctl
