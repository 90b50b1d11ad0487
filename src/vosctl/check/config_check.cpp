#include "vosctl/check/config_check.h"

#include "config/keys.h"
#include "config/setting_copy.h"
#include "config/source_text.h"
#include "platform/variant/variant.h"
#include "text/result.h"
#include "text/server_url.h"
#include "text/words.h"

#include <exception>

namespace vosctl {

namespace {

using config::TextForm;
using libconfig::Setting;

std::string wrong_type(const Setting& setting, Setting::Type wanted)
{
    return std::string("is ") + nyx::type_text(setting.getType()) + ", not " +
           nyx::type_text(wanted);
}

text::Outcome check_url(const std::string& value)
{
    const auto url = text::split_server_url(value);
    if (!url || url->host.empty() || url->host == url->port)
        return text::Failure{"is no URL of the form scheme://host:port"};
    if (url->scheme != "http" && url->scheme != "https")
        return text::Failure{"has a scheme other than https and http"};
    const auto port = text::to_number<std::uint16_t>(url->port);
    if (!port || *port == 0)
        return text::Failure{"has no port number from 1 to 65535 at its end"};
    return text::done();
}

text::Outcome check_json(const std::string& value)
{
    try {
        libvariant::read_json(value);
        return text::done();
    } catch (const std::exception&) {
        return text::Failure{"is no JSON document"};
    }
}

text::Outcome check_string(const std::string& value, TextForm form)
{
    if (form == TextForm::url)
        return check_url(value);
    if (form == TextForm::json)
        return check_json(value);
    if (form == TextForm::server_path && !value.starts_with('/'))
        return text::Failure{"does not begin with \"/\""};
    if (form == TextForm::filled && value.empty())
        return text::Failure{"is empty"};
    return text::done();
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
        const int value = setting;
        if (value < key.least)
            findings.push_back({key.harm, key.path,
                                "is " + std::to_string(value) + ": " + key.too_small,
                                setting.getSourceLine()});
    } else if (key.type == Setting::TypeString) {
        if (const auto fits = check_string(setting, key.form); !fits)
            findings.push_back({Severity::error, key.path, fits.reason(), setting.getSourceLine()});
    }
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
