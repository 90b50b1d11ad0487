// A POSIX mutex whose failures its owner can tell.
#pragma once

#include <pthread.h>

/// Error-checking: locking it twice, or giving back what is another's, is an
/// error instead of a standstill. Every result is 0 or an errno value. One whose
/// construction failed refuses with that error.
class PthreadMutex {
public:
    PthreadMutex() : m_init_error(init()) {}
    PthreadMutex(const PthreadMutex&) = delete;
    PthreadMutex& operator=(const PthreadMutex&) = delete;
    /// Must be unlocked by then.
    ~PthreadMutex()
    {
        if (m_init_error == 0)
            ::pthread_mutex_destroy(&m_mutex);
    }

    /// How the construction went.
    int init_error() const { return m_init_error; }
    int lock() { return m_init_error != 0 ? m_init_error : ::pthread_mutex_lock(&m_mutex); }
    int unlock() { return m_init_error != 0 ? m_init_error : ::pthread_mutex_unlock(&m_mutex); }

private:
    int init()
    {
        pthread_mutexattr_t attributes;
        if (const int error = ::pthread_mutexattr_init(&attributes); error != 0)
            return error;
        ::pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
        const int error = ::pthread_mutex_init(&m_mutex, &attributes);
        ::pthread_mutexattr_destroy(&attributes);
        return error;
    }

    pthread_mutex_t m_mutex;
    int m_init_error;
};
