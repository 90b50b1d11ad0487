// Records to files, gathered while a callback of a loop runs: one write for all.
#pragma once

#include <chrono>

/// While one lives, records that its thread writes to files are gathered, and written
/// when the thread's last one goes: at once with what was gathered before, from ERROR
/// up; with any record of another thread to that file; and when a buffer is full.
/// std::exit and the signals of FatalSignals write them, too.
class GatheredRecords {
public:
    GatheredRecords() noexcept;
    GatheredRecords(const GatheredRecords&) = delete;
    GatheredRecords& operator=(const GatheredRecords&) = delete;
    ~GatheredRecords();

    /// Whether a record of this thread is to wait; `priority` is log4cpp's.
    static bool wait(int priority) noexcept;

    /// Writes what has waited for half a second: a callback may take long.
    static void write_old() noexcept;

    /// Writes all there is; for who is about to end the process by _Exit.
    /// Async-signal-safe.
    static void rescue() noexcept;

private:
    static void write(std::chrono::steady_clock::duration least_age) noexcept;
};
