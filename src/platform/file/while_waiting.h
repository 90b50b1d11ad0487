// What a thread does while it waits: for a disk, a program, a lock.
#pragma once

#include <functional>

namespace platform {

/// While one lives, its thread does `work` at each while_waiting(). That must not
/// run programs, and what it throws is dropped. A second one of the thread stands
/// for the first as long as it lives.
class WorkWhileWaiting {
public:
    explicit WorkWhileWaiting(std::function<void()> work);
    WorkWhileWaiting(const WorkWhileWaiting&) = delete;
    WorkWhileWaiting& operator=(const WorkWhileWaiting&) = delete;
    ~WorkWhileWaiting();

private:
    friend void while_waiting() noexcept;

    std::function<void()> m_work;
    WorkWhileWaiting* m_before;
};

/// To be called between two writes to a disk, before each command, and ten times a
/// second during any other wait: work that takes long keeps the loop from its
/// timers, and something may have to be done meanwhile. Does nothing in a thread
/// that has no such work, and while it is being done. Leaves errno alone.
void while_waiting() noexcept;

} // namespace platform
