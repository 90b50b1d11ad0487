#include "vosctl/check/config_check.h"

#include "config/setting_copy.h"
#include "config/source_text.h"
#include "platform/variant/variant.h"
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

const char* url_fault(const std::string& text)
{
    const auto url = text::split_server_url(text);
    if (!url || url->host.empty() || url->host == url->port)
        return "is no URL of the form scheme://host:port";
    if (url->scheme != "http" && url->scheme != "https")
        return "has a scheme other than https and http";
    const auto port = text::to_number<std::uint16_t>(url->port);
    return port && *port != 0 ? nullptr : "has no port number from 1 to 65535 at its end";
}

const char* json_fault(const std::string& text)
{
    try {
        libvariant::read_json(text);
        return nullptr;
    } catch (const std::exception&) {
        return "is no JSON document";
    }
}

/// What is wrong with a text; null when nothing is.
const char* text_fault(const std::string& text, TextForm form)
{
    switch (form) {
    case TextForm::url:
        return url_fault(text);
    case TextForm::json:
        return json_fault(text);
    case TextForm::server_path:
        return text.starts_with('/') ? nullptr : "does not begin with \"/\"";
    case TextForm::filled:
        return text.empty() ? "is empty" : nullptr;
    default:
        return nullptr;
    }
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
        if (const char* fault = text_fault(setting, key.form))
            findings.push_back({Severity::error, key.path, fault, setting.getSourceLine()});
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
    const nyx::ConfigText parsed(text);
    for (const auto& key : config::known_keys()) {
        const auto value = parsed.value_of(key.path);
        if (key.type == Setting::TypeInt && value && nyx::is_cut_number(*value))
            findings.push_back({Severity::error, key.path,
                                std::string(*value) +
                                    " does not fit 32 bits: libconfig makes another number of it"});
    }
    return findings;
}

} // namespace vosctl
