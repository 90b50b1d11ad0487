// An advisory lock between processes, on a lock file.
#pragma once

#include "platform/file/unique_fd.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace nyx {

/// The lock could not be taken or given back.
class FileLockFailure : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A file that is needed is not there or can not be opened.
class FileNotFound : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// flock() on a lock file that is created when missing: mode 0666 less the umask,
/// and to others no more than they may do with the file that it guards, because
/// whoever can open a lock file can hold it. Where it can not be opened locking is
/// off: every request is logged and succeeds. No lock between the threads of one
/// process.
class FileLock {
public:
    /// An empty `guarded` names no file, and neither need it be there.
    explicit FileLock(std::string path, std::string guarded = {});
    FileLock(const FileLock&) = delete;
    FileLock& operator=(const FileLock&) = delete;
    /// Unlocks.
    ~FileLock() = default;

    /// Shared. Waits for a writer, at most five seconds: the caller may be the
    /// loop thread. Calls platform::while_waiting() meanwhile, which must not use
    /// this lock. Throws FileLockFailure.
    void read_lock();
    /// Exclusive, otherwise the same.
    void write_lock();
    /// Gives the lock back and closes the file; nothing when locking is off.
    /// Throws FileLockFailure.
    void unlock();
    /// False where locking is off, too.
    bool is_held() const { return m_held; }

private:
    void open();
    void lock(int operation);

    std::string m_path;
    std::string m_guarded;
    platform::UniqueFd m_fd;
    bool m_held{false};
};

} // namespace nyx
