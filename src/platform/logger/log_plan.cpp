#include "platform/logger/log_plan.h"

#include "text/words.h"

#include <log4cpp/Priority.hh>

#include <algorithm>
#include <utility>

namespace {

constexpr const char* root = "rootCategory";

/// "org.example.FileAppender" is a FileAppender.
std::string without_package(const std::string& type)
{
    const auto dot = type.rfind('.');
    return dot == std::string::npos ? type : type.substr(dot + 1);
}

/// The properties whose names begin with `prefix`, by what follows it.
LogProperties below(const LogProperties& properties, const std::string& prefix)
{
    LogProperties found;
    for (auto at = properties.lower_bound(prefix); at != properties.end(); ++at) {
        const auto rest = text::after_prefix(at->first, prefix);
        if (!rest)
            break;
        found.emplace(*rest, at->second);
    }
    return found;
}

text::Outcome defines(const LogPlan& plan, const std::string& appender, const LogProperty& user)
{
    if (std::any_of(plan.appenders.begin(), plan.appenders.end(),
                    [&appender](const auto& known) { return known.name == appender; }))
        return text::done();
    return refusal(user, "the file defines no appender \"" + appender + "\"");
}

text::Outcome add_appender(LogPlan& plan, const LogProperties& properties, const std::string& name,
                           const LogProperty& definition)
{
    AppenderPlan appender{name, without_package(definition.value), "", log4cpp::Priority::NOTSET,
                          below(properties, "appender." + name + ".")};
    appender.layout = without_package(appender.text("layout", ""));
    const auto threshold = appender.options.find("threshold");
    if (threshold != appender.options.end() && !threshold->second.value.empty()) {
        const auto level = log_level(threshold->second, threshold->second.value);
        if (!level)
            return text::Failure{level.reason()};
        appender.threshold = *level;
    }
    auto usable = check_appender(appender, definition);
    plan.appenders.push_back(std::move(appender));
    return usable;
}

text::Outcome add_appenders(LogPlan& plan, const LogProperties& properties)
{
    const auto all = below(properties, "appender.");
    for (const auto& [name, definition] : all)
        if (name.find('.') == std::string::npos)
            if (auto added = add_appender(plan, properties, name, definition); !added)
                return added;
    for (const auto& [name, option] : all)
        if (auto owned = defines(plan, name.substr(0, name.find('.')), option); !owned)
            return owned;
    return text::done();
}

/// "LEVEL, APPENDER, APPENDER"; no level is that of the category above.
text::Outcome add_category(LogPlan& plan, const LogProperties& properties, const std::string& name,
                           const LogProperty& definition)
{
    CategoryPlan category{name, log4cpp::Priority::NOTSET, true, {}};
    std::string_view rest = definition.value;
    const std::string level_name(text::trimmed(rest.substr(0, rest.find(','))));
    if (!level_name.empty()) {
        const auto level = log_level(definition, level_name);
        if (!level)
            return text::Failure{level.reason()};
        category.level = *level;
    }
    if (name.empty() && category.level >= log4cpp::Priority::NOTSET)
        return refusal(definition, "the root category needs a level");
    for (auto comma = rest.find(','); comma != std::string_view::npos; comma = rest.find(',')) {
        rest.remove_prefix(comma + 1);
        category.appenders.emplace_back(text::trimmed(rest.substr(0, rest.find(','))));
        if (auto known = defines(plan, category.appenders.back(), definition); !known)
            return known;
    }
    const auto additive = properties.find("additivity." + (name.empty() ? root : name));
    category.additive = additive == properties.end() || additive->second.value == "true";
    plan.categories.push_back(std::move(category));
    return text::done();
}

text::Outcome add_categories(LogPlan& plan, const LogProperties& properties)
{
    const auto first = properties.find(root);
    if (first == properties.end())
        return text::Failure{"there is no line log4cpp." + std::string(root)};
    if (auto added = add_category(plan, properties, "", first->second); !added)
        return added;
    for (const auto& [name, definition] : below(properties, "category."))
        if (auto added = add_category(plan, properties, name, definition); !added)
            return added;
    return text::done();
}

} // namespace

text::Result<LogPlan> plan_log(const LogProperties& properties)
{
    LogPlan plan;
    auto planned = add_appenders(plan, properties);
    if (planned)
        planned = add_categories(plan, properties);
    if (!planned)
        return text::Failure{planned.reason()};
    return plan;
}
