// A named worker thread that calls one function over and over.
#pragma once

#include <pthread.h>

#include <atomic>
#include <cstdint>
#include <string>

namespace nyx {

class AConfigurator;

/// The function paces itself; the thread does not sleep between calls. A call
/// that runs longer than "General.max_thread_runtime_ms" is warned about.
class Thread {
public:
    using Function = void (*)(void* arg);

    /// `function` may be null; `arg` is not owned and must outlive the thread.
    Thread(const std::string& name, Function function, void* arg);
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;
    /// The thread must have been joined, or never started.
    virtual ~Thread() = default;

    /// Starts the thread. It gets no signals: those are the loop's. Throws
    /// std::runtime_error when "General.max_thread_runtime_ms" is missing; a
    /// thread that can not be created is logged.
    void start(AConfigurator& configurator);
    /// Asks the thread to end after its current call.
    void stop();
    /// Waits until it has ended. Nothing when it does not run.
    void join();
    /// Started and not yet joined.
    bool is_running() const { return m_joinable; }

private:
    static void* body(void* self);
    void run();
    void call_once();

    std::string m_name;
    pthread_t m_handle{};
    bool m_joinable{false};
    Function m_function;
    void* m_arg;
    std::atomic<bool> m_run{false};
    std::atomic<bool> m_alive{false};
    std::uint32_t m_max_runtime_ms{0};
};

} // namespace nyx
