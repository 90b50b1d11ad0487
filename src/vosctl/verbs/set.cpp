#include "vosctl/verbs/verbs.h"

#include "common/nyx_configurator.h"
#include "config/keys.h"
#include "config/setting_literal.h"
#include "config/source_text.h"
#include "vosctl/check/config_check.h"

#include <algorithm>
#include <iostream>
#include <stdexcept>

namespace vosctl {

namespace {

using libconfig::Setting;

/// Whether libconfig would take `name` for one.
bool is_name(std::string_view name)
{
    constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ*";
    return !name.empty() && letters.find(name.front()) != std::string_view::npos &&
           std::ranges::all_of(name, [letters](char letter) {
               return letters.find(letter) != std::string_view::npos ||
                      (letter >= '0' && letter <= '9') || letter == '-' || letter == '_';
           });
}

Setting::Type wanted_type(const libconfig::Config& config, const std::string& path,
                          const std::string& value)
{
    if (const auto* key = config::find_known_key(path))
        return key->type;
    return config.exists(path) ? config.lookup(path).getType() : type_of(value);
}

/// Throws when the new file reads otherwise than asked, or in a way that hurts.
void verify(const std::string& text, const std::string& path, const std::string& literal)
{
    libconfig::Config changed;
    changed.readString(text);
    const nyx::ConfigText parsed(text);
    const auto written = parsed.value_of(path);
    if (!changed.exists(path) || !written || *written != literal)
        throw std::runtime_error(path + " can not be set in this file");
    for (const auto& finding : check_tree(changed))
        if (finding.key == path && finding.severity == Severity::error)
            throw std::runtime_error(path + " " + finding.message);
}

std::string edited(const std::string& text, const std::string& path, const std::string& value)
{
    libconfig::Config config;
    config.readString(text);
    const auto literal = literal_of(value, wanted_type(config, path, value));
    if (!literal)
        throw std::runtime_error("\"" + value + "\" does not fit " + path);
    auto changed = nyx::ConfigText(text).with_value(path, *literal);
    if (!changed)
        throw std::runtime_error(path + " can not be set: a name on the way is no group");
    verify(*changed, path, *literal);
    return *changed;
}

/// Of a key that no reload changes.
void tell_when_it_counts(const std::string& path)
{
    const auto* key = config::find_known_key(path);
    if (key == nullptr)
        std::cerr << "vosctl set: no program of the node reads " << path << '\n';
    else if (const std::string program = config::restart_text(*key); !program.empty())
        std::cerr << "vosctl set: " << path << " is read at start only: it counts at the next start"
                  << " of " << program << '\n';
}

int run(const CommandLine& line)
{
    if (line.arguments.size() != 2)
        throw UsageError{};
    const auto& path = line.arguments[0];
    if (!std::ranges::all_of(nyx::path_names(path), is_name))
        throw UsageError{.reason = path + " is no dotted path of names"};
    nyx::AConfigurator configurator(line.config.c_str(), false);
    try {
        configurator.edit_file(
            [&](const std::string& text) { return edited(text, path, line.arguments[1]); });
    } catch (const nyx::FileLockFailure&) {
        throw; // it names the file, and whoever gets it the holder
    } catch (const std::exception& error) {
        std::cerr << "vosctl set: " << line.config << ": " << nyx::configuration_error_text(error)
                  << '\n';
        return exit_failed;
    }
    tell_when_it_counts(path);
    return exit_done;
}

} // namespace

constinit const Verb set_verb{
    .name = "set",
    .arguments = "PATH VALUE",
    .summary = "change a setting in the file",
    .help = "Puts VALUE at a dotted path of the file; groups that are missing are made. The\n"
            "rest of the file, comments too, its mode and its owner stay, and it is replaced\n"
            "as a whole, under its lock; links to it stay, and a file that is mounted by\n"
            "itself is written in place.\n"
            "A key that the node knows has its own type, another one the type that it has; a\n"
            "new one is a boolean, a number or a text, as VALUE looks. Refused: a value of\n"
            "another type or one that \"vosctl check\" calls an error, a file that does not\n"
            "parse, and what lies in a list, an array or an included file. The daemon\n"
            "follows at the next reload; a key that is read at start only, as\n"
            "Monitoring.report_path, counts at the next start, and the verb says of which\n"
            "program.\n",
    .run = run,
};

} // namespace vosctl
