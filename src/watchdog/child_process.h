// The supervised daemon as a child process.
#pragma once

#include "event/sigchild.h"
#include "text/result.h"

#include <chrono>
#include <functional>
#include <string>

namespace vos_watchdog {

/// How a run of the daemon ended.
struct ProcessEnd {
    int status;                         ///< wait status
    std::chrono::milliseconds run_time; ///< from start to end
};

/// "exit status 1", "signal 9 (Killed)".
std::string describe_wait_status(int status);

/// At most one process at a time. It dies with its parent.
class ChildProcess : public nyx::SigChildHandler {
public:
    using EndCallback = std::function<void(const ProcessEnd&)>;

    /// `program` is started in this process's working directory, with
    /// node_status_variable in its environment; `on_end` is
    /// called from the loop when it has ended, after this object is ready to
    /// start the next.
    ChildProcess(std::string program, EndCallback on_end);
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;
    ~ChildProcess() override;

    /// Fails when there can be no further process. A program that can not be
    /// executed is started, and ends with exit status 127.
    text::Outcome start();
    /// Sends a signal to the process; nothing when there is none.
    void signal(int number) const;

    bool is_running() const { return m_pid > 0; }
    /// 0 when none runs.
    pid_t pid() const { return m_pid; }
    /// Since its start; only while it runs.
    std::chrono::milliseconds run_time() const;

    bool on_sigchild(pid_t pid, int status) override;

private:
    [[noreturn]] void become_program(pid_t parent) const;

    std::string m_program;
    EndCallback m_on_end;
    pid_t m_pid{0};
    std::chrono::steady_clock::time_point m_started;
};

} // namespace vos_watchdog
