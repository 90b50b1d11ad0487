#include "platform/logger/sup_logger.h"

#include "platform/file/while_waiting.h"
#include "platform/logger/lasting.h"
#include "platform/logger/log_settings.h"
#include "platform/logger/record_buffer.h"
#include "platform/logger/repeat_limit.h"

#include <log4cpp/Appender.hh>
#include <log4cpp/Category.hh>
#include <log4cpp/LoggingEvent.hh>

#include <atomic>
#include <cerrno>
#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace {

/// log4cpp's categories are static objects that are made at the first use. Made
/// before main, they outlive everything that logs when the program ends.
[[maybe_unused]] const log4cpp::Category& root = log4cpp::Category::getRoot();

/// Gives errno back as it was. The logger looks at files and clocks of its own,
/// and what it writes is often the errno of its caller, who may need it after.
class KeptErrno {
public:
    KeptErrno() = default;
    KeptErrno(const KeptErrno&) = delete;
    KeptErrno& operator=(const KeptErrno&) = delete;
    ~KeptErrno() { errno = m_value; }

private:
    int m_value{errno};
};

std::string escape_line_feeds(std::string text)
{
    for (auto at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 2))
        text.replace(at, 1, "\\n");
    return text;
}

/// Gives a record to the appenders of `category` and of those above it. log4cpp's
/// own way there promises not to throw, and ends the process when memory runs
/// out on it; an appender by itself throws. True when a file was written.
bool append(log4cpp::Category* category, int level, const std::string& text)
{
    const log4cpp::LoggingEvent event(category->getName(), text, {}, level);
    const std::lock_guard<std::mutex> one_at_a_time(RecordBuffer::mutex());
    while (category != nullptr) {
        for (auto* appender : category->getAllAppenders())
            appender->doAppend(event);
        category = category->getAdditivity() ? category->getParent() : nullptr;
    }
    return RecordBuffer::take_written();
}

/// The one limit on repeated records, for every category and thread.
struct Repeats {
    std::mutex mutex; ///< guards the limit
    RepeatLimit limit;
};

Repeats& repeats()
{
    return lasting<Repeats>();
}

struct Loggers {
    std::mutex mutex; ///< guards the map
    std::map<std::string, std::unique_ptr<SupLogger>> by_name;
};

/// How many AnsweringRecords this thread has.
thread_local int answers_under_way = 0;

/// What a fault may repeat without end. Fatal records are the last ones; what
/// is below a notice belongs to the daily routine; and who asks for debug
/// records of a category wants all of it.
bool is_limited(const log4cpp::Category& category, LogLevel level)
{
    return answers_under_way == 0 && level >= LogLevel::error && level <= LogLevel::notice &&
           category.getChainedPriority() < static_cast<int>(LogLevel::debug);
}

bool is_admitted(const log4cpp::Category& category, LogLevel level, const std::string& text)
{
    if (!is_limited(category, level))
        return true;
    const std::lock_guard<std::mutex> guard(repeats().mutex);
    return repeats().limit.admit(category.getName(), static_cast<int>(level), text,
                                 RepeatLimit::Clock::now());
}

void write(const std::vector<RepeatLimit::Count>& counts)
{
    for (const auto& count : counts) {
        auto guard = LogSettings::use();
        auto& category = log4cpp::Category::getInstance(count.category);
        if (!category.isPriorityEnabled(count.level))
            continue;
        const bool written = append(&category, count.level,
                                    count.text + " (repeated " + std::to_string(count.repeated) +
                                        (count.repeated == 1 ? " time)" : " times)"));
        guard.unlock(); // what is done meanwhile logs, too
        if (written)
            platform::while_waiting();
    }
}

/// Whether this is the first call of its second; of several threads one is told so.
bool is_new_second() noexcept
{
    static std::atomic<time_t> last{-1};
    timespec now{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
    auto before = last.load(std::memory_order_relaxed);
    return before != now.tv_sec &&
           last.compare_exchange_strong(before, now.tv_sec, std::memory_order_relaxed);
}

void write_due_counts() noexcept
{
    try {
        std::unique_lock<std::mutex> guard(repeats().mutex);
        const auto counts = repeats().limit.due(RepeatLimit::Clock::now());
        guard.unlock();
        write(counts);
    } catch (...) {
        return; // out of memory: these counts are lost
    }
}

void follow_settings() noexcept
{
    try {
        if (const auto followed = LogSettings::reload_when_changed(); !followed)
            SupLogger::get_instance("Logging").error(followed.reason(), "; the old settings stay");
    } catch (...) {
        return; // out of memory: the next look tries again
    }
}

} // namespace

SupLoggerStreamer::SupLoggerStreamer(log4cpp::Category* category, LogLevel level)
    : m_category(category), m_level(level)
{
}

SupLoggerStreamer::SupLoggerStreamer(SupLoggerStreamer&& other) noexcept
    : m_category(std::exchange(other.m_category, nullptr)), m_level(other.m_level),
      m_keep_lines(other.m_keep_lines), m_text(std::move(other.m_text))
{
}

SupLoggerStreamer::~SupLoggerStreamer()
{
    if (m_category == nullptr)
        return;
    const KeptErrno kept;
    try {
        const auto text = m_keep_lines ? m_text.str() : escape_line_feeds(m_text.str());
        auto guard = LogSettings::use();
        if (!is_admitted(*m_category, m_level, text))
            return;
        const bool written = append(m_category, static_cast<int>(m_level), text);
        guard.unlock(); // what is done meanwhile logs, too
        if (written)    // a disk may be slow
            platform::while_waiting();
    } catch (...) {
        // A record that can not be written is lost; the program goes on.
        return;
    }
}

SupLoggerStreamer& SupLoggerStreamer::keep_lines()
{
    m_keep_lines = true;
    return *this;
}

AnsweringRecords::AnsweringRecords()
{
    ++answers_under_way;
}

AnsweringRecords::~AnsweringRecords()
{
    --answers_under_way;
}

SupLogger::SupLogger(log4cpp::Category& category)
    : m_category(category), m_level(LogSettings::level_of(category))
{
}

SupLogger& SupLogger::get_instance(const std::string& category)
{
    auto& loggers = lasting<Loggers>();
    const std::lock_guard<std::mutex> guard(loggers.mutex);
    auto& logger = loggers.by_name[category];
    if (!logger)
        logger = std::make_unique<SupLogger>(log4cpp::Category::getInstance(category));
    return *logger;
}

bool SupLogger::is_enabled(LogLevel level) const
{
    if (is_new_second()) {
        const KeptErrno kept;
        follow_settings();
        write_due_counts();
    }
    return m_level.load(std::memory_order_relaxed) >= static_cast<int>(level);
}

void SupLogger::shut_down()
{
    std::unique_lock<std::mutex> guard(repeats().mutex);
    const auto counts = repeats().limit.all();
    guard.unlock();
    write(counts);
    LogSettings::shut_down();
}

SupLoggerStreamer SupLogger::getStream(LogLevel level)
{
    return {is_enabled(level) ? &m_category : nullptr, level};
}
