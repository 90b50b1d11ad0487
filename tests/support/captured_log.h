// What the code under test logged, for a test to read.
#pragma once

#include "platform/logger/log_settings.h"
#include "platform/logger/sup_logger.h"

#include <log4cpp/Category.hh>
#include <log4cpp/OstreamAppender.hh>

#include <sstream>
#include <string>

/// Collects every record of every category, trace included, while it lives:
/// one line each, the text alone.
class CapturedLog {
public:
    CapturedLog() : m_appender("captured", &m_text)
    {
        m_appender.setLayout(new TextLayout); // the appender takes it
        m_root.setPriority(static_cast<int>(LogLevel::trace));
        m_root.addAppender(m_appender);
        LogSettings::levels_changed();
    }
    CapturedLog(const CapturedLog&) = delete;
    CapturedLog& operator=(const CapturedLog&) = delete;
    ~CapturedLog() { m_root.removeAppender(&m_appender); }

    std::string text() const { return m_text.str(); }
    bool contains(const std::string& record) const
    {
        return text().find(record) != std::string::npos;
    }
    int count(const std::string& record) const
    {
        const auto all = text();
        int found = 0;
        for (auto at = all.find(record); at != std::string::npos; at = all.find(record, at + 1))
            ++found;
        return found;
    }

private:
    struct TextLayout : log4cpp::Layout {
        std::string format(const log4cpp::LoggingEvent& event) override
        {
            return event.message + "\n";
        }
    };

    log4cpp::Category& m_root = log4cpp::Category::getRoot();
    std::ostringstream m_text;
    log4cpp::OstreamAppender m_appender;
};
