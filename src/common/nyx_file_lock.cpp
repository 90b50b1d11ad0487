#include "common/nyx_file_lock.h"

#include "platform/file/while_waiting.h"
#include "platform/logger/sup_logger.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <cerrno>
#include <chrono>
#include <thread>
#include <utility>

namespace nyx {

namespace {

constexpr std::chrono::seconds longest_wait{5};
constexpr std::chrono::microseconds longest_pause{10000};

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("NYXFileLock");
    return instance;
}

[[noreturn]] void fail(const std::string& text)
{
    logger().error(text);
    throw FileLockFailure(text);
}

/// flock() with a bound; false with errno set, EWOULDBLOCK when time is up.
bool flock_within(int fd, int operation, std::chrono::steady_clock::duration limit)
{
    const auto deadline = std::chrono::steady_clock::now() + limit;
    std::chrono::microseconds pause{200};
    while (::flock(fd, operation | LOCK_NB) != 0) {
        if (errno != EWOULDBLOCK && errno != EINTR)
            return false;
        if (std::chrono::steady_clock::now() >= deadline) {
            errno = EWOULDBLOCK;
            return false;
        }
        platform::while_waiting();
        std::this_thread::sleep_for(pause);
        pause = std::min(2 * pause, longest_pause);
    }
    return true;
}

/// The owner's own bits stay: who can not open the file a second time locks nothing.
mode_t new_file_mode(const std::string& guarded)
{
    constexpr mode_t most = 0666;
    struct stat found {};
    const bool exists = !guarded.empty() && ::stat(guarded.c_str(), &found) == 0;
    return exists ? most & (found.st_mode | S_IRUSR | S_IWUSR) : most;
}

} // namespace

FileLock::FileLock(std::string path, std::string guarded)
    : m_path(std::move(path)), m_guarded(std::move(guarded))
{
}

void FileLock::read_lock()
{
    lock(LOCK_SH);
}

void FileLock::write_lock()
{
    lock(LOCK_EX);
}

void FileLock::open()
{
    if (m_fd.valid())
        return;
    m_fd.reset(::open(m_path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK,
                      new_file_mode(m_guarded)));
    if (!m_fd.valid())
        logger().error("Failed to open lock file: ", m_path, ", disabling NYXFileLock.");
}

void FileLock::lock(int operation)
{
    open();
    m_held = false; // one that is exchanged is given back first
    if (!m_fd.valid()) {
        logger().warning("Locking is disabled");
        return;
    }
    if (!flock_within(m_fd.get(), operation, longest_wait))
        fail("Failed to obtain lock for file: " + m_path);
    m_held = true;
}

void FileLock::unlock()
{
    if (!m_fd.valid())
        return;
    m_held = false;
    const bool unlocked = ::flock(m_fd.get(), LOCK_UN) == 0;
    m_fd.reset();
    if (!unlocked)
        fail("Failed to unlock file: " + m_path);
}

} // namespace nyx
