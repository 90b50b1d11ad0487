// A log file that says so when it can not be opened.
#pragma once

#include "platform/file/standard_descriptors.h"

#include <log4cpp/LoggingEvent.hh>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>
#include <utility>

/// `File`, a file appender of log4cpp, which by itself drops what it has no open
/// file for, be it from the beginning on or since a roll-over. This one tells of it
/// on standard error, and writes there until the file can be opened, which it
/// tries once a second at most.
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
        if (is_open())
            File::_append(event);
        else
            platform::write_standard_error(this->_getLayout().format(event));
    }

private:
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
};
