#include "platform/logger/sup_logger.h"

#include "platform/logger/log_settings.h"

#include <log4cpp/Category.hh>

#include <map>
#include <memory>
#include <mutex>
#include <utility>

namespace {

std::string escape_line_feeds(std::string text)
{
    for (auto at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 2))
        text.replace(at, 1, "\\n");
    return text;
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
    try {
        const auto text = m_keep_lines ? m_text.str() : escape_line_feeds(m_text.str());
        const auto guard = LogSettings::use();
        m_category->log(static_cast<int>(m_level), text);
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

SupLogger& SupLogger::get_instance(const std::string& category)
{
    static std::mutex mutex;
    static std::map<std::string, std::unique_ptr<SupLogger>> loggers;
    const std::lock_guard<std::mutex> guard(mutex);
    auto& logger = loggers[category];
    if (!logger)
        logger = std::make_unique<SupLogger>(log4cpp::Category::getInstance(category));
    return *logger;
}

bool SupLogger::is_enabled(LogLevel level) const
{
    LogSettings::reload_when_changed();
    const auto guard = LogSettings::use();
    return m_category.isPriorityEnabled(static_cast<int>(level));
}

SupLoggerStreamer SupLogger::getStream(LogLevel level)
{
    return {is_enabled(level) ? &m_category : nullptr, level};
}
