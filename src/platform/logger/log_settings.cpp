#include "platform/logger/log_settings.h"

#include "platform/file/regular_file.h"
#include "platform/file/text_file.h"
#include "platform/logger/lasting.h"
#include "platform/logger/log_appender.h"
#include "platform/logger/log_plan.h"
#include "platform/logger/record_buffer.h"

#include <log4cpp/Appender.hh>
#include <log4cpp/Category.hh>
#include <log4cpp/OstreamAppender.hh>
#include <log4cpp/PatternLayout.hh>

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <vector>

namespace {

using Appenders = std::vector<std::unique_ptr<log4cpp::Appender>>;

/// What the file looked like; a file that is not there is all zero.
struct FileStamp {
    std::int64_t seconds{};
    std::int64_t nanoseconds{};
    std::int64_t size{};
    bool operator==(const FileStamp&) const = default;
};

FileStamp stamp_of(const std::string& path)
{
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0)
        return {};
    return {found.st_mtim.tv_sec, found.st_mtim.tv_nsec, found.st_size};
}

struct WatchedFile {
    std::string path;
    FileStamp stamp;
};

struct State {
    std::shared_mutex in_use; ///< shared: log4cpp is used; exclusive: it is changed
    std::mutex watch_mutex;   ///< guards the two below
    WatchedFile watched;      ///< empty path: nothing is watched
    Appenders appenders;      ///< those of the settings in force
    std::mutex levels_mutex;  ///< guards the map, but not what is in it
    std::map<const log4cpp::Category*, std::atomic<int>> levels;
};

State& state()
{
    return lasting<State>();
}

/// Appenders and levels of every category, as they are now. What log4cpp does to
/// a category may fail half-way for want of memory, so the way back is remembered.
class Snapshot {
public:
    Snapshot()
    {
        for (auto* category : all_categories())
            m_entries.push_back({category, category->getPriority(), category->getAdditivity(),
                                 category->getAllAppenders()});
    }

    /// Every category as it is before any settings: a category that the next
    /// file does not name must not keep an appender of the last one.
    static void clear()
    {
        for (auto* category : all_categories()) {
            category->removeAllAppenders();
            category->setAdditivity(true);
            if (category != &log4cpp::Category::getRoot())
                category->setPriority(log4cpp::Priority::NOTSET);
        }
    }

    void restore() const
    {
        clear();
        for (const auto& entry : m_entries) {
            entry.category->setPriority(entry.priority);
            entry.category->setAdditivity(entry.additivity);
            for (auto* appender : entry.appenders)
                entry.category->addAppender(*appender);
        }
    }

private:
    struct Entry {
        log4cpp::Category* category;
        log4cpp::Priority::Value priority;
        bool additivity;
        log4cpp::AppenderSet appenders;
    };

    static std::vector<log4cpp::Category*> all_categories()
    {
        const std::unique_ptr<std::vector<log4cpp::Category*>> named(
            log4cpp::Category::getCurrentCategories());
        std::vector<log4cpp::Category*> all(*named);
        if (std::find(all.begin(), all.end(), &log4cpp::Category::getRoot()) == all.end())
            all.push_back(&log4cpp::Category::getRoot());
        return all;
    }

    std::vector<Entry> m_entries;
};

text::Failure named(const std::string& path, const std::string& reason)
{
    return {"log settings " + path + ": " + reason};
}

text::Result<LogPlan> read_plan(const std::string& path)
{
    if (const auto found = platform::stat_regular_file(path); !found)
        return named(path, found.reason());
    const auto text = platform::read_text_file(path);
    if (!text)
        return named(path, std::strerror(errno));
    auto plan = plan_log(parse_log_properties(*text, std::getenv));
    return plan ? std::move(plan) : named(path, plan.reason());
}

/// For who has just changed log4cpp's categories, or may have.
void take_levels() noexcept
{
    const std::lock_guard<std::mutex> guard(state().levels_mutex);
    for (auto& [category, level] : state().levels)
        level.store(category->getChainedPriority(), std::memory_order_relaxed);
}

void put_in_force(const std::vector<CategoryPlan>& categories, const Appenders& made)
{
    Snapshot::clear();
    for (const auto& plan : categories) {
        auto& category = log4cpp::Category::getInstance(plan.name);
        category.setPriority(plan.level);
        category.setAdditivity(plan.additive);
        for (const auto& appender : made)
            if (std::find(plan.appenders.begin(), plan.appenders.end(), appender->getName()) !=
                plan.appenders.end())
                category.addAppender(*appender);
    }
}

/// Puts the file in force or throws; on a throw nothing has changed.
void apply(const std::string& path)
{
    const auto plan = read_plan(path);
    if (!plan)
        throw std::runtime_error(plan.reason());
    // An appender that does not append empties its file.
    while (RecordBuffer::write_one({})) {
    }
    Appenders made; // in the end: those that are no longer in force
    for (const auto& appender : plan->appenders)
        made.push_back(make_appender(appender));
    const std::unique_lock<std::shared_mutex> alone(state().in_use);
    const Snapshot before;
    try {
        put_in_force(plan->categories, made);
    } catch (...) {
        before.restore();
        throw;
    }
    take_levels();
    state().appenders.swap(made);
}

} // namespace

void LogSettings::load(const std::string& path)
{
    const std::lock_guard<std::mutex> guard(state().watch_mutex);
    const auto stamp = stamp_of(path);
    apply(path);
    state().watched = {path, stamp};
}

text::Outcome LogSettings::check(const std::string& path)
{
    if (const auto plan = read_plan(path); !plan)
        return text::Failure{plan.reason()};
    return text::done();
}

void LogSettings::use_standard_error(LogLevel least)
{
    const std::lock_guard<std::mutex> guard(state().watch_mutex);
    const std::unique_lock<std::shared_mutex> alone(state().in_use);
    state().watched = {};
    Snapshot::clear();
    state().appenders.clear();
    auto layout = std::make_unique<log4cpp::PatternLayout>();
    layout->setConversionPattern("%p %c: %m%n");
    auto& appender = state().appenders.emplace_back(
        std::make_unique<log4cpp::OstreamAppender>("standard error", &std::cerr));
    appender->setLayout(layout.release()); // the appender takes it
    auto& root = log4cpp::Category::getRoot();
    root.setPriority(static_cast<log4cpp::Priority::Value>(least));
    root.addAppender(*appender);
    take_levels();
}

text::Outcome LogSettings::reload_when_changed()
{
    const std::lock_guard<std::mutex> guard(state().watch_mutex);
    const auto stamp = state().watched.path.empty() ? FileStamp{} : stamp_of(state().watched.path);
    if (state().watched.path.empty() || stamp == state().watched.stamp)
        return text::done();
    state().watched.stamp = stamp;
    try {
        apply(state().watched.path);
        return text::done();
    } catch (const std::exception& error) {
        return text::Failure{error.what()};
    }
}

void LogSettings::shut_down()
{
    const std::lock_guard<std::mutex> guard(state().watch_mutex);
    const std::unique_lock<std::shared_mutex> alone(state().in_use);
    state().watched = {};
    Snapshot::clear();
    state().appenders.clear();
    take_levels();
}

const std::atomic<int>& LogSettings::level_of(const log4cpp::Category& category)
{
    const auto guard = use();
    const std::lock_guard<std::mutex> alone(state().levels_mutex);
    auto& level = state().levels[&category];
    level.store(category.getChainedPriority(), std::memory_order_relaxed);
    return level;
}

void LogSettings::levels_changed()
{
    const std::unique_lock<std::shared_mutex> alone(state().in_use);
    take_levels();
}

std::shared_lock<std::shared_mutex> LogSettings::use()
{
    return std::shared_lock<std::shared_mutex>(state().in_use);
}
