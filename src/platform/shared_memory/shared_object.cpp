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

/// The size of a file that is root's or this user's own; `what` is it, for who
/// reads the reason. The folder is everybody's.
std::size_t size_of_own(int fd, const std::string& what, const std::string& name)
{
    struct stat found {};
    if (::fstat(fd, &found) != 0)
        fail("inspect", name);
    if (found.st_uid != 0 && found.st_uid != ::geteuid())
        throw std::runtime_error(what + " is another user's");
    return static_cast<std::size_t>(found.st_size);
}

/// Touching what lies behind the end of the object would be a bus error.
void make_long_enough(int fd, const std::string& name, std::size_t size, SharedMemoryUse use)
{
    const auto found = size_of_own(fd, "Shared memory " + name, name);
    if (found >= size)
        return;
    if (use == SharedMemoryUse::existing)
        throw std::runtime_error("Shared memory " + name + " is of another layout: " +
                                 std::to_string(found) + " bytes, not " + std::to_string(size));
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

sem_t* open_semaphore(const std::string& name, SharedMemoryUse use)
{
    auto* semaphore = ::sem_open(("/" + name).c_str(), creation_flag(use), private_mode, 1);
    if (semaphore == SEM_FAILED)
        fail("open the semaphore of", name);
    return semaphore;
}

/// The C library looks at neither owner nor size of the file that it maps. Done
/// when that is open: what was there before could have been changed meanwhile.
void require_whole_semaphore(const std::string& name)
{
    const auto what = "The semaphore of shared memory " + name;
    const platform::UniqueFd fd(::shm_open(("/sem." + name).c_str(), O_RDONLY | O_CLOEXEC, 0));
    if (!fd.valid())
        fail("inspect the semaphore of", name);
    if (const auto size = size_of_own(fd.get(), what, name); size < sizeof(sem_t))
        throw std::runtime_error(what + " is too short: " + std::to_string(size) + " bytes, not " +
                                 std::to_string(sizeof(sem_t)));
}

} // namespace

void SharedMemory::Unmap::operator()(void* data) const
{
    ::munmap(data, size);
}

void SharedMemory::CloseSemaphore::operator()(sem_t* semaphore) const
{
    ::sem_close(semaphore);
}

SharedMemory::SharedMemory(const std::string& name, std::size_t size, SharedMemoryUse use)
    : m_data(map(name, size, use), {size}), m_semaphore(open_semaphore(name, use))
{
    require_whole_semaphore(name);
}

bool SharedMemory::lock()
{
    timespec deadline{};
    ::clock_gettime(CLOCK_MONOTONIC, &deadline);
    deadline.tv_sec += 1;
    while (::sem_clockwait(m_semaphore.get(), CLOCK_MONOTONIC, &deadline) != 0)
        if (errno != EINTR)
            return false;
    return true;
}

bool SharedMemory::unlock()
{
    return ::sem_post(m_semaphore.get()) == 0;
}

} // namespace nyx_utils
