#include "platform/logger/record_buffer.h"

#include "platform/file/write_all.h"
#include "platform/logger/lasting.h"

#include <pthread.h>

#include <cstring>
#include <utility>

/// A list that only grows, so that a handler may go through it at any time.
struct RecordBuffer::State {
    State() { ::pthread_atfork(nullptr, nullptr, forget_all); }

    std::mutex mutex;
    std::atomic<RecordBuffer*> first{nullptr};
    bool written{false}; ///< guarded by the mutex
};

RecordBuffer::State& RecordBuffer::state()
{
    return lasting<State>();
}

/// In a child of fork(): what waits is its parent's to write.
void RecordBuffer::forget_all() noexcept
{
    for (auto* buffer = state().first.load(); buffer != nullptr; buffer = buffer->m_next)
        buffer->m_waiting = Span{0, 0};
}

std::mutex& RecordBuffer::mutex()
{
    return state().mutex;
}

void RecordBuffer::Return::operator()(RecordBuffer* buffer) const noexcept
{
    const std::lock_guard<std::mutex> guard(mutex());
    buffer->write();
    --buffer->m_owners;
}

RecordBuffer::Owner RecordBuffer::acquire(const std::string& file)
{
    const std::lock_guard<std::mutex> guard(mutex());
    RecordBuffer* found = nullptr;
    for (auto* buffer = state().first.load(); buffer != nullptr; buffer = buffer->m_next)
        if (buffer->m_owners > 0 && buffer->m_file == file)
            found = buffer;
    for (auto* buffer = state().first.load(); found == nullptr && buffer != nullptr;
         buffer = buffer->m_next)
        if (buffer->m_owners == 0)
            found = buffer;
    if (found == nullptr) {
        auto made = std::make_unique<RecordBuffer>();
        made->m_next = state().first;
        found = made.release(); // the list has it to the end of the program
        state().first = found;
    }
    found->m_file = file;
    ++found->m_owners;
    return Owner(found);
}

bool RecordBuffer::take_written() noexcept
{
    return std::exchange(state().written, false);
}

std::size_t RecordBuffer::waiting() const noexcept
{
    const auto span = m_waiting.load();
    return span.end - span.begin;
}

void RecordBuffer::add(int fd, std::string_view text) noexcept
{
    if (fd != m_fd || text.size() > capacity - m_waiting.load().end)
        write();
    auto span = m_waiting.load();
    if (text.size() > capacity - span.end) {
        static_cast<void>(platform::write_all(fd, text)); // nobody could be told
        state().written = true;
        return;
    }
    if (span.begin == span.end)
        m_oldest = std::chrono::steady_clock::now();
    std::memcpy(m_bytes.get() + span.end, text.data(), text.size());
    m_fd = fd;
    const auto end = static_cast<std::uint32_t>(span.end + text.size());
    while (!m_waiting.compare_exchange_weak(span, {span.begin, end})) {
    }
}

/// What is still to be written, for one caller alone.
RecordBuffer::Span RecordBuffer::claim() noexcept
{
    auto span = m_waiting.load();
    while (!m_waiting.compare_exchange_weak(span, {span.end, span.end})) {
    }
    return span;
}

void RecordBuffer::write(Span span) const noexcept
{
    static_cast<void>(
        platform::write_all(m_fd, {m_bytes.get() + span.begin, span.end - span.begin}));
}

void RecordBuffer::write() noexcept
{
    const auto span = claim();
    if (span.begin == span.end)
        return; // and a handler may be writing what was here
    write(span);
    m_waiting = Span{0, 0};
    state().written = true;
}

bool RecordBuffer::write_one(std::chrono::steady_clock::duration least_age) noexcept
{
    if (!any_waits())
        return false;
    const std::lock_guard<std::mutex> guard(mutex());
    const auto latest = std::chrono::steady_clock::now() - least_age;
    for (auto* buffer = state().first.load(); buffer != nullptr; buffer = buffer->m_next)
        if (buffer->waiting() > 0 && buffer->m_oldest <= latest) {
            buffer->write();
            return true;
        }
    return false;
}

bool RecordBuffer::any_waits() noexcept
{
    for (const auto* buffer = state().first.load(); buffer != nullptr; buffer = buffer->m_next)
        if (buffer->waiting() > 0)
            return true;
    return false;
}

void RecordBuffer::rescue() noexcept
{
    for (auto* buffer = state().first.load(); buffer != nullptr; buffer = buffer->m_next)
        buffer->write(buffer->claim());
}
