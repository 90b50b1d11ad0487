#include "platform/logger/log_settings.h"

#include "platform/file/regular_file.h"
#include "platform/logger/lasting.h"

#include <log4cpp/Appender.hh>
#include <log4cpp/Category.hh>
#include <log4cpp/OstreamAppender.hh>
#include <log4cpp/PatternLayout.hh>
#include <log4cpp/PropertyConfigurator.hh>

#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <fstream>
#include <iostream>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string_view>
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
    std::shared_mutex in_use;               ///< shared: log4cpp is used; exclusive: it is changed
    std::mutex watch_mutex;                 ///< guards the two below
    WatchedFile watched;                    ///< empty path: nothing is watched
    Appenders appenders;                    ///< those of the settings in force
    std::atomic<std::int64_t> next_look{0}; ///< CLOCK_MONOTONIC seconds
};

State& state()
{
    return lasting<State>();
}

/// Appenders and levels of every category, as they are now. log4cpp's
/// configurator changes the categories one by one and leaves them half changed
/// when it fails, so the way back has to be remembered.
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

/// The names that a property file gives its appenders ("log4cpp.appender.NAME=").
/// Throws when the file can not be read.
std::vector<std::string> appender_names(const std::string& path)
{
    constexpr std::string_view prefix = "log4cpp.appender.";
    std::vector<std::string> names;
    std::ifstream file;
    file.exceptions(std::ios::badbit);
    file.open(path);
    if (!file)
        throw std::runtime_error(std::strerror(errno));
    for (std::string line; std::getline(file, line);) {
        line.erase(0, line.find_first_not_of(" \t"));
        if (line.starts_with(prefix))
            names.push_back(line.substr(prefix.size(), line.find_first_of(".= \t", prefix.size()) -
                                                           prefix.size()));
    }
    return names;
}

/// The appenders that loading the file has made. log4cpp's configurator lends
/// them to the categories and gives them to nobody, those of a file that fails
/// half-way too; it only keeps the latest of each name in a register. `made` has
/// room for all: memory that runs out must not lose one.
void take_appenders(const std::vector<std::string>& names, const Appenders& older, Appenders& made)
{
    for (const auto& name : names) {
        auto* appender = log4cpp::Appender::getAppender(name);
        const auto is_it = [appender](const auto& owned) { return owned.get() == appender; };
        if (appender != nullptr && std::none_of(older.begin(), older.end(), is_it) &&
            std::none_of(made.begin(), made.end(), is_it))
            made.emplace_back(appender);
    }
}

/// Puts the file in force or throws; on a throw nothing has changed.
void apply(const std::string& path)
{
    if (const auto found = platform::stat_regular_file(path); !found)
        throw std::runtime_error("log settings " + path + ": " + found.reason());

    Appenders made; // in the end: those that are no longer in force
    const std::unique_lock<std::shared_mutex> alone(state().in_use);
    const Snapshot before;
    std::vector<std::string> names;
    try {
        names = appender_names(path);
        made.reserve(names.size());
        Snapshot::clear();
        log4cpp::PropertyConfigurator::configure(path);
    } catch (const std::exception& failure) {
        take_appenders(names, state().appenders, made);
        before.restore();
        throw std::runtime_error("log settings " + path + ": " + failure.what());
    }
    take_appenders(names, state().appenders, made);
    state().appenders.swap(made);
}

std::int64_t monotonic_seconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    return now.tv_sec;
}

} // namespace

void LogSettings::load(const std::string& path)
{
    const std::lock_guard<std::mutex> guard(state().watch_mutex);
    const auto stamp = stamp_of(path);
    apply(path);
    state().watched = {path, stamp};
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
}

text::Outcome LogSettings::reload_when_changed()
{
    const auto now = monotonic_seconds();
    auto due = state().next_look.load(std::memory_order_relaxed);
    if (now < due || !state().next_look.compare_exchange_strong(due, now + 1))
        return text::done();
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
}

std::shared_lock<std::shared_mutex> LogSettings::use()
{
    return std::shared_lock<std::shared_mutex>(state().in_use);
}
