// Records on their way to one file.
//
// The bytes lie in one place, and which of them are still to be written in one
// number: so a handler of a fatal signal can write them too, wherever it comes.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

class RecordBuffer {
public:
    /// Bytes. What is gathered never takes more; a longer record is written directly.
    static constexpr std::size_t capacity = 64 * 1024;

    struct Return {
        void operator()(RecordBuffer* buffer) const noexcept;
    };
    using Owner = std::unique_ptr<RecordBuffer, Return>;

    /// Guards every appender and its buffer: one record is written at a time.
    static std::mutex& mutex();

    /// The buffer of the file of that name, which all its owners share: their records
    /// keep their order. Who gives it back writes what waits. None is ever destroyed,
    /// another file gets it then. Throws std::bad_alloc. Not under the mutex.
    static Owner acquire(const std::string& file);

    /// Adds `text`, which is for `fd`; when what is there is not, or leaves no room,
    /// writes that first. Under the mutex, as are the two below.
    void add(int fd, std::string_view text) noexcept;
    /// Writes what is there; what the file does not take is lost.
    void write() noexcept;
    /// Whether any buffer was written since the last call. Under the mutex.
    static bool take_written() noexcept;
    /// Bytes that wait to be written.
    std::size_t waiting() const noexcept;

    /// Writes one buffer whose oldest bytes are of that age. False when there is none.
    /// Not under the mutex.
    static bool write_one(std::chrono::steady_clock::duration least_age) noexcept;
    /// Whether there is anything in any buffer.
    static bool any_waits() noexcept;

    /// Writes all buffers, in any state of the process: async-signal-safe.
    static void rescue() noexcept;

    RecordBuffer() = default; ///< for acquire()

private:
    /// Aligned as a number of its size: a handler may take no lock.
    struct alignas(std::uint64_t) Span {
        std::uint32_t begin;
        std::uint32_t end;
    };

    struct State;
    static State& state();
    static void forget_all() noexcept;

    Span claim() noexcept;
    void write(Span span) const noexcept;

    static_assert(std::atomic<Span>::is_always_lock_free, "for a handler");

    std::atomic<Span> m_waiting{Span{0, 0}};
    std::atomic<int> m_fd{-1};
    std::chrono::steady_clock::time_point m_oldest{};
    int m_owners{0};
    std::string m_file;
    RecordBuffer* m_next{nullptr};
    /// As they come, so that only those that are used take memory.
    const std::unique_ptr<char[]> m_bytes = std::make_unique_for_overwrite<char[]>(capacity);
};
