#include "watchdog/child_process.h"

#include "platform/ipc/ipc_record.h"

#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace vos_watchdog {

namespace {

constexpr int exit_not_executed = 127;

/// What this process does about signals is not the daemon's business.
void reset_signals()
{
    for (int number = 1; number < NSIG; ++number)
        ::signal(number, SIG_DFL);
    sigset_t none;
    ::sigemptyset(&none);
    ::sigprocmask(SIG_SETMASK, &none, nullptr);
}

} // namespace

std::string describe_wait_status(int status)
{
    if (WIFSIGNALED(status))
        return "signal " + std::to_string(WTERMSIG(status)) + " (" + ::strsignal(WTERMSIG(status)) +
               ")";
    return "exit status " + std::to_string(WEXITSTATUS(status));
}

ChildProcess::ChildProcess(std::string program, EndCallback on_end)
    : m_program(std::move(program)), m_on_end(std::move(on_end))
{
}

ChildProcess::~ChildProcess()
{
    nyx::sigchild_handler_unregister(this);
}

text::Outcome ChildProcess::start()
{
    const pid_t parent = ::getpid();
    // Until the child is a program of its own, a signal for it must not run
    // this process's handlers: they would write into our event loop.
    sigset_t all;
    sigset_t before;
    ::sigfillset(&all);
    ::sigprocmask(SIG_SETMASK, &all, &before);
    const pid_t pid = ::fork();
    if (pid == 0)
        become_program(parent);
    const int error = pid < 0 ? errno : 0;
    ::sigprocmask(SIG_SETMASK, &before, nullptr);
    if (error != 0)
        return text::Failure{std::strerror(error)};
    m_pid = pid;
    m_started = std::chrono::steady_clock::now();
    nyx::sigchild_handler_register(this);
    return text::done();
}

void ChildProcess::become_program(pid_t parent) const
{
    // Set before the program starts, so that there is no moment in which it
    // could outlive us; the parent may have died before this line, though.
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (::getppid() != parent)
        ::_exit(exit_not_executed);
    reset_signals();
    ::setenv(node_status_variable, "1", 1);
    ::execl(m_program.c_str(), m_program.c_str(), static_cast<char*>(nullptr));
    ::_exit(exit_not_executed);
}

void ChildProcess::signal(int number) const
{
    if (m_pid > 0)
        ::kill(m_pid, number);
}

std::chrono::milliseconds ChildProcess::run_time() const
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 m_started);
}

bool ChildProcess::on_sigchild(pid_t pid, int status)
{
    if (pid != m_pid || WIFSTOPPED(status))
        return false;
    m_pid = 0;
    m_on_end({status, run_time()});
    return true;
}

} // namespace vos_watchdog
