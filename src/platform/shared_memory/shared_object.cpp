#include "platform/shared_memory/shared_object.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <stdexcept>

namespace nyx_utils {

bool shared_mem_enabled = false;

namespace {

constexpr mode_t private_mode = 0600;

[[noreturn]] void fail(const std::string& what, const std::string& name)
{
    throw std::runtime_error("Failed to " + what + " shared memory " + name + ": " +
                             std::strerror(errno));
}

int creation_flag(SharedMemoryUse use)
{
    return use == SharedMemoryUse::create ? O_CREAT : 0;
}

/// Touching what lies behind the end of the object would be a bus error.
void make_long_enough(int fd, const std::string& name, std::size_t size, SharedMemoryUse use)
{
    struct stat found {};
    if (::fstat(fd, &found) != 0)
        fail("inspect", name);
    if (found.st_uid != 0 && found.st_uid != ::geteuid())
        throw std::runtime_error("Shared memory " + name + " is another user's");
    if (static_cast<std::size_t>(found.st_size) >= size)
        return;
    if (use == SharedMemoryUse::existing)
        throw std::runtime_error("Shared memory " + name +
                                 " is of another layout: " + std::to_string(found.st_size) +
                                 " bytes, not " + std::to_string(size));
    if (::ftruncate(fd, static_cast<off_t>(size)) != 0)
        fail("size", name);
}

void* map(const std::string& name, std::size_t size, SharedMemoryUse use)
{
    const int flags = O_RDWR | O_CLOEXEC | creation_flag(use);
    const platform::UniqueFd fd(::shm_open(("/" + name).c_str(), flags, private_mode));
    if (!fd.valid())
        fail("open", name);
    make_long_enough(fd.get(), name, size, use);
    void* data = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
    if (data == MAP_FAILED)
        fail("map", name);
    return data;
}

} // namespace

SharedMemory::SharedMemory(const std::string& name, std::size_t size, SharedMemoryUse use)
    : m_size(size), m_data(map(name, size, use)),
      m_semaphore(::sem_open(("/" + name).c_str(), creation_flag(use), private_mode, 1))
{
    if (m_semaphore == SEM_FAILED) {
        const int error = errno;
        ::munmap(m_data, m_size);
        errno = error;
        fail("open the semaphore of", name);
    }
}

SharedMemory::~SharedMemory()
{
    ::sem_close(m_semaphore);
    ::munmap(m_data, m_size);
}

bool SharedMemory::lock()
{
    timespec deadline{};
    ::clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += 1;
    while (::sem_clockwait(m_semaphore, CLOCK_MONOTONIC, &deadline) != 0)
        if (errno != EINTR)
            return false;
    return true;
}

bool SharedMemory::unlock()
{
    return ::sem_post(m_semaphore) == 0;
}

} // namespace nyx_utils
