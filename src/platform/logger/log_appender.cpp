#include "platform/logger/log_appender.h"

#include "platform/logger/loud_file.h"

#include <log4cpp/AbortAppender.hh>
#include <log4cpp/BasicLayout.hh>
#include <log4cpp/DailyRollingFileAppender.hh>
#include <log4cpp/FileAppender.hh>
#include <log4cpp/OstreamAppender.hh>
#include <log4cpp/PatternLayout.hh>
#include <log4cpp/RemoteSyslogAppender.hh>
#include <log4cpp/RollingFileAppender.hh>
#include <log4cpp/SimpleLayout.hh>
#include <log4cpp/SyslogAppender.hh>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <iostream>

namespace {

using MadeAppender = std::unique_ptr<log4cpp::Appender>;

std::string file_name(const AppenderPlan& plan)
{
    return plan.text("fileName", "foobar");
}

bool appends(const AppenderPlan& plan)
{
    return plan.flag("append", true);
}

std::string target(const AppenderPlan& plan)
{
    auto name = plan.text("target", "stdout");
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return name;
}

/// log4cpp counts facilities in the steps of syslog.h.
int facility(const AppenderPlan& plan)
{
    return plan.number("facility", -1) * 8;
}

MadeAppender make_console(const AppenderPlan& plan)
{
    return std::make_unique<log4cpp::OstreamAppender>(
        plan.name, target(plan) == "stderr" ? &std::cerr : &std::cout);
}

MadeAppender make_file(const AppenderPlan& plan)
{
    return std::make_unique<LoudFile<log4cpp::FileAppender>>(plan.name, file_name(plan),
                                                             appends(plan));
}

MadeAppender make_rolling_file(const AppenderPlan& plan)
{
    constexpr int default_size = 10 * 1024 * 1024;
    return std::make_unique<LoudFile<log4cpp::RollingFileAppender>>(
        plan.name, file_name(plan),
        static_cast<std::size_t>(plan.number("maxFileSize", default_size)),
        static_cast<unsigned>(plan.number("maxBackupIndex", 1)), appends(plan));
}

MadeAppender make_daily_file(const AppenderPlan& plan)
{
    return std::make_unique<LoudFile<log4cpp::DailyRollingFileAppender>>(
        plan.name, file_name(plan), static_cast<unsigned>(plan.number("maxDaysKeep", 0)),
        appends(plan));
}

MadeAppender make_remote_syslog(const AppenderPlan& plan)
{
    return std::make_unique<log4cpp::RemoteSyslogAppender>(
        plan.name, plan.text("syslogName", "syslog"), plan.text("syslogHost", "localhost"),
        facility(plan), plan.number("portNumber", -1));
}

MadeAppender make_local_syslog(const AppenderPlan& plan)
{
    return std::make_unique<log4cpp::SyslogAppender>(plan.name, plan.text("syslogName", "syslog"),
                                                     facility(plan));
}

MadeAppender make_abort(const AppenderPlan& plan)
{
    return std::make_unique<log4cpp::AbortAppender>(plan.name);
}

struct Type {
    const char* name;
    MadeAppender (*make)(const AppenderPlan& plan);
    bool has_layout{true};
};

constexpr Type types[] = {
    {"ConsoleAppender", make_console},          {"FileAppender", make_file},
    {"RollingFileAppender", make_rolling_file}, {"DailyRollingFileAppender", make_daily_file},
    {"SyslogAppender", make_remote_syslog},     {"LocalSyslogAppender", make_local_syslog},
    {"AbortAppender", make_abort, false}};

const Type* find_type(const std::string& name)
{
    const auto* const found = std::find_if(std::begin(types), std::end(types),
                                           [&name](const Type& type) { return name == type.name; });
    return found != std::end(types) ? found : nullptr;
}

/// Null when there is none of that name. Throws log4cpp::ConfigureFailure.
std::unique_ptr<log4cpp::Layout> make_layout(const AppenderPlan& plan)
{
    if (plan.layout == "BasicLayout")
        return std::make_unique<log4cpp::BasicLayout>();
    if (plan.layout == "SimpleLayout")
        return std::make_unique<log4cpp::SimpleLayout>();
    if (plan.layout != "PatternLayout")
        return nullptr;
    auto layout = std::make_unique<log4cpp::PatternLayout>();
    if (const auto pattern = plan.options.find("layout.ConversionPattern");
        pattern != plan.options.end())
        layout->setConversionPattern(pattern->second.value);
    return layout;
}

text::Outcome check_layout(const AppenderPlan& plan, const LogProperty& definition)
{
    const auto layout = plan.options.find("layout");
    if (layout == plan.options.end())
        return refusal(definition, "the appender has no layout");
    try {
        if (make_layout(plan) == nullptr)
            return refusal(layout->second, "there is no such layout");
    } catch (const log4cpp::ConfigureFailure& failure) {
        return refusal(plan.options.find("layout.ConversionPattern")->second, failure.what());
    }
    return text::done();
}

} // namespace

std::string AppenderPlan::text(const char* option, const char* otherwise) const
{
    const auto found = options.find(option);
    return found != options.end() ? found->second.value : otherwise;
}

int AppenderPlan::number(const char* option, int otherwise) const
{
    const auto found = options.find(option);
    return found != options.end()
               ? static_cast<int>(std::strtol(found->second.value.c_str(), nullptr, 10))
               : otherwise;
}

bool AppenderPlan::flag(const char* option, bool otherwise) const
{
    const auto found = options.find(option);
    return found != options.end() ? found->second.value == "true" : otherwise;
}

text::Outcome check_appender(const AppenderPlan& plan, const LogProperty& definition)
{
    const auto* const type = find_type(plan.type);
    if (type == nullptr)
        return refusal(definition, "there is no such type of appender");
    const auto where = target(plan);
    if (type->make == make_console && where != "stdout" && where != "stderr")
        return refusal(plan.options.find("target")->second, "is neither stdout nor stderr");
    return type->has_layout ? check_layout(plan, definition) : text::done();
}

std::unique_ptr<log4cpp::Appender> make_appender(const AppenderPlan& plan)
{
    const auto& type = *find_type(plan.type);
    auto appender = type.make(plan);
    if (type.has_layout)
        appender->setLayout(make_layout(plan).release()); // the appender takes it
    appender->setThreshold(plan.threshold);
    return appender;
}
