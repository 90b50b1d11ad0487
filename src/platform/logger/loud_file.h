// A log file that says so when it can not be opened, and takes gathered records.
#pragma once

#include "platform/file/standard_descriptors.h"
#include "platform/logger/gathered_records.h"
#include "platform/logger/record_buffer.h"

#include <log4cpp/DailyRollingFileAppender.hh>
#include <log4cpp/LoggingEvent.hh>
#include <log4cpp/RollingFileAppender.hh>

#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <ctime>
#include <string>
#include <type_traits>
#include <utility>

/// `File`, a file appender of log4cpp, which by itself drops what it has no open
/// file for, be it from the beginning on or since a roll-over. This one tells of it
/// on standard error, and writes there until the file can be opened, which it
/// tries once a second at most. While records are gathered it writes them together;
/// a roll-over comes with the same record as without.
template <typename File>
class LoudFile final : public File {
public:
    template <typename... Arguments>
    explicit LoudFile(Arguments&&... arguments) : File(std::forward<Arguments>(arguments)...)
    {
        is_open();
    }

protected:
    void _append(const log4cpp::LoggingEvent& event) override
    {
        if constexpr (std::is_same_v<File, log4cpp::DailyRollingFileAppender>)
            begin_day();
        const auto text = this->_getLayout().format(event);
        if (!is_open()) {
            platform::write_standard_error(text);
            return;
        }
        m_buffer->add(this->_fd, text);
        if (!GatheredRecords::wait(event.priority))
            m_buffer->write();
        if constexpr (std::is_same_v<File, log4cpp::RollingFileAppender>)
            end_file();
    }

private:
    /// The first record of a day begins a file.
    void begin_day()
    {
        const auto now = std::time(nullptr);
        std::tm day{};
        if (::localtime_r(&now, &day) == nullptr ||
            (day.tm_mday == this->_logsTime.tm_mday && day.tm_mon == this->_logsTime.tm_mon &&
             day.tm_year == this->_logsTime.tm_year))
            return;
        m_buffer->write();
        this->rollOver();
        this->_logsTime = day;
    }

    /// The record that makes a file as large as it may be is its last.
    void end_file()
    {
        if (is_full() && m_buffer->waiting() > 0)
            m_buffer->write(); // which may fail
        if (is_full())
            this->rollOver();
    }

    bool is_full() const
    {
        const auto size = ::lseek(this->_fd, 0, SEEK_END);
        return size >= 0 &&
               static_cast<std::size_t>(size) + m_buffer->waiting() >= this->_maxFileSize;
    }

    bool is_open()
    {
        if (this->_fd >= 0)
            return true;
        const auto now = std::chrono::steady_clock::now();
        if (now < m_next_try)
            return false;
        const bool opened = this->reopen();
        const std::string failure = opened ? "" : std::strerror(errno);
        m_next_try = opened ? std::chrono::steady_clock::time_point{} : now + longest_pause;
        if (failure != m_told)
            tell(failure);
        return opened;
    }

    void tell(const std::string& failure)
    {
        const auto begin = std::string(program_invocation_short_name) + ": log file ";
        platform::write_standard_error(
            begin + this->_fileName +
            (failure.empty()
                 ? " is open again\n"
                 : " can not be opened: " + failure + "; until it can, its records go here\n"));
        m_told = failure;
    }

    static constexpr std::chrono::seconds longest_pause{1};
    std::chrono::steady_clock::time_point m_next_try{};
    std::string m_told; ///< why it can not be opened; empty while it is
    /// Goes before the file is closed.
    RecordBuffer::Owner m_buffer = RecordBuffer::acquire(this->_fileName);
};
