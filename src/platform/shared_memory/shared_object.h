// A record in POSIX shared memory, guarded by a named POSIX semaphore.
#pragma once

#include "platform/file/unique_fd.h"

#include <semaphore.h>

#include <cstddef>
#include <memory>
#include <string>
#include <typeinfo>

namespace nyx_utils {

/// Switches every shared record of this process. Off until a program says so.
extern bool shared_mem_enabled;

enum class SharedMemoryUse {
    create,   ///< makes what is not there
    existing, ///< makes nothing
};

/// The mapping and the semaphore, both mode 0600. Root's or this user's own:
/// the folder they lie in is everybody's.
class SharedMemory {
public:
    /// `name` without the leading "/". Throws std::runtime_error with the
    /// reason; one that exists and is shorter than `size` is of another layout,
    /// and is made longer only when it may be created. A semaphore that is too
    /// short is refused.
    SharedMemory(const std::string& name, std::size_t size, SharedMemoryUse use);
    SharedMemory(const SharedMemory&) = delete;
    SharedMemory& operator=(const SharedMemory&) = delete;
    ~SharedMemory() = default;

    void* data() { return m_data.get(); }

    /// Takes the semaphore. Waits at most one second, also through signals: a
    /// holder that died must not stop the loop. False with errno set.
    bool lock();
    /// Gives it back. False with errno set.
    bool unlock();

private:
    struct Unmap {
        std::size_t size;
        void operator()(void* data) const;
    };
    struct CloseSemaphore {
        void operator()(sem_t* semaphore) const;
    };

    std::unique_ptr<void, Unmap> m_data;
    std::unique_ptr<sem_t, CloseSemaphore> m_semaphore;
};

/// One `T` shared by every process that opens the same name. `T` must be
/// trivially copyable; a new record is all zero.
template <typename T>
class SharedObject {
public:
    explicit SharedObject(const std::string& name, SharedMemoryUse use = SharedMemoryUse::create)
        : m_memory(name, sizeof(T), use)
    {
    }

    bool lock() { return m_memory.lock(); }
    bool unlock() { return m_memory.unlock(); }
    T& record() { return *static_cast<T*>(m_memory.data()); }

    /// The type's name as the log lines write it.
    static const char* type_name() { return typeid(SharedObject<T>*).name(); }
    static const char* record_type_name() { return typeid(T*).name(); }

private:
    SharedMemory m_memory;
};

} // namespace nyx_utils
