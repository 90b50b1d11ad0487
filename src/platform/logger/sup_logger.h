// The logging facade: named categories over log4cpp.
//
// A record is one line. Line feeds inside a text are written as "\n", so that
// no input can forge a record. Errors, warnings and notices that a fault repeats
// are written a few times an hour and then counted (see repeat_limit.h), unless
// the category's level is debug or finer, or they answer somebody.
#pragma once

#include "platform/logger/log_level.h"

#include <atomic>
#include <sstream>
#include <string>
#include <type_traits>

namespace log4cpp {
class Category;
}

/// Collects one record and writes it when it goes out of scope. A streamer of
/// a level that is switched off collects and writes nothing.
class SupLoggerStreamer {
public:
    /// `category` null makes a streamer that swallows everything.
    SupLoggerStreamer(log4cpp::Category* category, LogLevel level);
    SupLoggerStreamer(SupLoggerStreamer&& other) noexcept;
    SupLoggerStreamer(const SupLoggerStreamer&) = delete;
    SupLoggerStreamer& operator=(const SupLoggerStreamer&) = delete;
    SupLoggerStreamer& operator=(SupLoggerStreamer&&) = delete;
    ~SupLoggerStreamer();

    template <typename T>
    SupLoggerStreamer& operator<<(const T& value)
    {
        if (m_category != nullptr)
            m_text << value;
        return *this;
    }

    /// Lets the record keep its line feeds. Only for a record whose point is a
    /// text of many lines.
    SupLoggerStreamer& keep_lines();

private:
    log4cpp::Category* m_category; ///< owned by log4cpp, lives until exit
    LogLevel m_level;
    bool m_keep_lines{false};
    std::ostringstream m_text;
};

/// While one lives, the records of its thread answer a signal or a message:
/// whoever sent it wants to read each of them, however often they are the same.
class AnsweringRecords {
public:
    AnsweringRecords();
    AnsweringRecords(const AnsweringRecords&) = delete;
    AnsweringRecords& operator=(const AnsweringRecords&) = delete;
    ~AnsweringRecords();
};

/// One category. Obtained by name, lives until exit. Safe in every thread. Leaves
/// errno alone.
class SupLogger {
public:
    /// The one logger of that name.
    static SupLogger& get_instance(const std::string& category);

    /// Ends logging: says how often records were repeated without being written,
    /// and closes every appender.
    static void shut_down();

    explicit SupLogger(log4cpp::Category& category);
    SupLogger(const SupLogger&) = delete;
    SupLogger& operator=(const SupLogger&) = delete;

    /// Cheap. Looks after the settings and the counts that are due, once a second.
    bool is_enabled(LogLevel level) const;
    bool is_fatal_enabled() const { return is_enabled(LogLevel::fatal); }
    bool is_error_enabled() const { return is_enabled(LogLevel::error); }
    bool is_warning_enabled() const { return is_enabled(LogLevel::warning); }
    bool is_notice_enabled() const { return is_enabled(LogLevel::notice); }
    bool is_info_enabled() const { return is_enabled(LogLevel::info); }
    bool is_debug_enabled() const { return is_enabled(LogLevel::debug); }
    bool is_trace_enabled() const { return is_enabled(LogLevel::trace); }

    /// A stream for one record. Test the level first.
    SupLoggerStreamer getStream(LogLevel level);

    /// One record from its pieces, built only when the level is on. Numbers are
    /// taken as they are at the call, errno above all.
    template <typename... Pieces>
    void log(LogLevel level, const Pieces&... pieces)
    {
        log_kept<Kept<Pieces>...>(level, pieces...);
    }
    template <typename... P>
    void fatal(const P&... pieces)
    {
        log(LogLevel::fatal, pieces...);
    }
    template <typename... P>
    void error(const P&... pieces)
    {
        log(LogLevel::error, pieces...);
    }
    template <typename... P>
    void warning(const P&... pieces)
    {
        log(LogLevel::warning, pieces...);
    }
    template <typename... P>
    void notice(const P&... pieces)
    {
        log(LogLevel::notice, pieces...);
    }
    template <typename... P>
    void info(const P&... pieces)
    {
        log(LogLevel::info, pieces...);
    }
    template <typename... P>
    void debug(const P&... pieces)
    {
        log(LogLevel::debug, pieces...);
    }
    template <typename... P>
    void trace(const P&... pieces)
    {
        log(LogLevel::trace, pieces...);
    }

private:
    /// errno is a place that whatever is called meanwhile may write to.
    template <typename Piece>
    using Kept = std::conditional_t<std::is_arithmetic_v<Piece>, Piece, const Piece&>;

    template <typename... KeptPieces>
    void log_kept(LogLevel level, KeptPieces... pieces)
    {
        if (is_enabled(level)) {
            SupLoggerStreamer stream(&m_category, level);
            (stream << ... << pieces);
        }
    }

    log4cpp::Category& m_category;
    const std::atomic<int>& m_level; ///< kept by LogSettings
};
