#include "utils/shared_object.h"

#include <fcntl.h>
#include <sys/mman.h>

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

void* map(const std::string& name, std::size_t size)
{
    const platform::UniqueFd fd(
        ::shm_open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, private_mode));
    if (!fd.valid())
        fail("open", name);
    if (::ftruncate(fd.get(), static_cast<off_t>(size)) != 0)
        fail("size", name);
    void* data = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED, fd.get(), 0);
    if (data == MAP_FAILED)
        fail("map", name);
    return data;
}

} // namespace

SharedMemory::SharedMemory(const std::string& name, std::size_t size)
    : m_size(size), m_data(map("/" + name, size)),
      m_semaphore(::sem_open(("/" + name).c_str(), O_CREAT, private_mode, 1))
{
    if (m_semaphore == SEM_FAILED) {
        ::munmap(m_data, m_size);
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
