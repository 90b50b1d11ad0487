#include "common/nyx_thread.h"

#include "common/nyx_configurator.h"
#include "config/keys.h"
#include "platform/logger/sup_logger.h"

#include <signal.h>

#include <chrono>
#include <cstring>
#include <exception>
#include <stdexcept>

namespace nyx {

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Thread");
    return instance;
}

/// pthread_create with every signal blocked in the new thread.
int create_without_signals(pthread_t* handle, void* (*body)(void*), void* arg)
{
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &before);
    const int error = ::pthread_create(handle, nullptr, body, arg);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return error;
}

} // namespace

Thread::Thread(const std::string& name, Function function, void* arg)
    : m_name(name), m_function(function), m_arg(arg)
{
}

void Thread::start(AConfigurator& configurator)
{
    m_run = true;
    if (!configurator.config.lookupValue(config::key::max_thread_runtime_ms, m_max_runtime_ms))
        throw std::runtime_error(
            "ERROR couldn't find the critical configuration parameter: max_thread_runtime");
    const int error = create_without_signals(&m_handle, &Thread::body, this);
    m_joinable = error == 0;
    if (error != 0)
        logger().error("Couldn't create thread ", m_name, " : [", std::strerror(error), "]");
    else
        logger().info("Thread ", m_name, " created successfully");
}

void Thread::stop()
{
    logger().info("Stopping thread ", m_name);
    m_run = false;
}

void Thread::join()
{
    if (!m_joinable)
        return;
    m_joinable = false;
    if (::pthread_join(m_handle, nullptr) != 0)
        logger().error("Thread join failed.");
}

void* Thread::body(void* self)
{
    static_cast<Thread*>(self)->run();
    return nullptr;
}

void Thread::run()
{
    m_alive = true;
    while (m_run)
        call_once();
    logger().info("Thread ", m_name, " stopped");
}

void Thread::call_once()
{
    const auto start = std::chrono::steady_clock::now();
    try {
        if (m_function != nullptr)
            m_function(m_arg);
    } catch (const std::exception& error) {
        // The next call may well succeed; ending the process would not help.
        logger().error("thread ", m_name, " function failed: ", error.what());
    }
    const auto elapsed = std::chrono::duration_cast<std::chrono::milliseconds>(
        std::chrono::steady_clock::now() - start);
    if (elapsed.count() > m_max_runtime_ms)
        logger().warning("thread ", m_name, " function took too long: ", elapsed.count(), " ms");
}

} // namespace nyx
