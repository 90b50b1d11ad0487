#include "platform/file/while_waiting.h"

#include <cerrno>
#include <utility>

namespace platform {

namespace {

/// Null while its work is being done: that may write, too.
thread_local WorkWhileWaiting* current = nullptr;

void run(const std::function<void()>& work) noexcept
{
    try {
        work();
    } catch (...) {
        return; // out of memory: the next wait tries again
    }
}

} // namespace

WorkWhileWaiting::WorkWhileWaiting(std::function<void()> work)
    : m_work(std::move(work)), m_before(std::exchange(current, this))
{
}

WorkWhileWaiting::~WorkWhileWaiting()
{
    current = m_before;
}

void while_waiting() noexcept
{
    auto* const waiting = std::exchange(current, nullptr);
    if (waiting == nullptr)
        return;
    const int error = errno;
    run(waiting->m_work);
    errno = error;
    current = waiting;
}

} // namespace platform
