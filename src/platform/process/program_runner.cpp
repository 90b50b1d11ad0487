#include "platform/process/program_runner.h"

#include "platform/file/unique_fd.h"
#include "platform/file/while_waiting.h"
#include "platform/logger/sup_logger.h"
#include "platform/process/held_signal.h"
#include "platform/process/shell_command.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

namespace platform {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds time_limit{5};
constexpr std::size_t output_limit = 16 * 1024 * 1024;
constexpr int longest_wait_ms = 100; ///< between two calls of while_waiting()
constexpr int not_started = 127;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("CommandRunner");
    return instance;
}

/// posix_spawn's two parameter objects.
class SpawnPlan {
public:
    SpawnPlan(int output_fd, CommandOutput collect)
    {
        ::posix_spawn_file_actions_init(&m_actions);
        ::posix_spawn_file_actions_adddup2(&m_actions, output_fd, STDOUT_FILENO);
        if (collect == CommandOutput::with_errors)
            ::posix_spawn_file_actions_adddup2(&m_actions, output_fd, STDERR_FILENO);
        ::posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1);

        sigset_t none;
        sigset_t all;
        ::sigemptyset(&none);
        ::sigfillset(&all);
        ::posix_spawnattr_init(&m_attributes);
        ::posix_spawnattr_setsigmask(&m_attributes, &none);
        ::posix_spawnattr_setsigdefault(&m_attributes, &all);
        ::posix_spawnattr_setpgroup(&m_attributes, 0);
        ::posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF |
                                                      POSIX_SPAWN_SETPGROUP);
    }
    SpawnPlan(const SpawnPlan&) = delete;
    SpawnPlan& operator=(const SpawnPlan&) = delete;
    ~SpawnPlan()
    {
        ::posix_spawn_file_actions_destroy(&m_actions);
        ::posix_spawnattr_destroy(&m_attributes);
    }

    /// 0 and the child's pid, or an errno value.
    int spawn(const std::string& command, pid_t* pid) const
    {
        auto text = shell_text(command);
        char shell[] = "/bin/sh";
        char option[] = "-c";
        const std::array<char*, 4> argv{shell, option, text.data(), nullptr};
        return ::posix_spawn(pid, shell, &m_actions, &m_attributes, argv.data(), environ);
    }

private:
    posix_spawn_file_actions_t m_actions{};
    posix_spawnattr_t m_attributes{};
};

int milliseconds_until(Clock::time_point deadline)
{
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
    return static_cast<int>(std::max<std::int64_t>(0, left.count()));
}

/// Collects what the command writes until it closes its end. False when a
/// bound was reached, or this process is to end, first.
bool collect_output(int fd, Clock::time_point deadline, std::string& output)
{
    std::array<char, 16384> buffer;
    while (true) {
        pollfd source{fd, POLLIN, 0};
        while_waiting();
        if (signal_waits(SIGTERM))
            return false;
        const int left_ms = milliseconds_until(deadline);
        const int ready = ::poll(&source, 1, std::min(left_ms, longest_wait_ms));
        if ((ready < 0 && errno == EINTR) || (ready == 0 && left_ms > longest_wait_ms))
            continue;
        if (ready <= 0)
            return false;
        const auto got = ::read(fd, buffer.data(), buffer.size());
        if (got == 0)
            return true;
        if (got < 0 && (errno == EINTR || errno == EAGAIN))
            continue;
        if (got < 0 || output.size() + static_cast<std::size_t>(got) > output_limit)
            return false;
        output.append(buffer.data(), static_cast<std::size_t>(got));
    }
}

/// True and the wait status once the child has ended before the deadline.
bool reap(pid_t pid, Clock::time_point deadline, int* status)
{
    constexpr std::chrono::microseconds longest_pause{5000};
    for (std::chrono::microseconds pause{50};; pause = std::min(2 * pause, longest_pause)) {
        const auto ended = ::waitpid(pid, status, WNOHANG);
        if (ended == pid)
            return true;
        if (ended < 0 && errno != EINTR) {
            *status = 0;
            return true; // somebody else has reaped it
        }
        if (Clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(pause);
        while_waiting();
    }
}

void kill_group(pid_t pid, const std::string& command)
{
    if (signal_waits(SIGTERM))
        logger().info("run_command: killed, the daemon is to end: ", command);
    else
        logger().error("run_command: killed, took longer than ", time_limit.count(),
                       " s or wrote too much: ", command);
    ::kill(-pid, SIGKILL);
}

int exit_code_of(int status)
{
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

} // namespace

CommandResult run_program(const std::string& command, CommandOutput collect)
{
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        logger().error("run_command: no pipe for ", command, ": ", std::strerror(errno));
        return {not_started, {}};
    }
    const UniqueFd reading(ends[0]);
    UniqueFd writing(ends[1]);
    pid_t pid{};
    if (const int error = SpawnPlan(writing.get(), collect).spawn(command, &pid); error != 0) {
        logger().error("run_command: could not start ", command, ": ", std::strerror(error));
        return {not_started, {}};
    }
    writing.reset();

    CommandResult result;
    int status = SIGKILL; // what the kernel will say of a child that is not gone in time
    const auto deadline = Clock::now() + time_limit;
    if (!collect_output(reading.get(), deadline, result.output) || !reap(pid, deadline, &status)) {
        kill_group(pid, command);
        // A killed process may linger in the kernel; the loop's own reaping
        // takes what is not gone by then.
        reap(pid, Clock::now() + std::chrono::seconds(1), &status);
    }
    result.exit_code = exit_code_of(status);
    return result;
}

} // namespace platform
