#include "monitor/signals.h"

#include "common/nyx_libevent.h"
#include "event/sigchild.h"
#include "monitor/monitor.h"
#include "monitor/scheduling.h"
#include "platform/memprof/memprof.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

namespace nyx_monitor {

namespace {

/// True when `signal` is the handler's own; otherwise one error record.
bool is_own_signal(int signal, int own, const char* event)
{
    if (signal == own)
        return true;
    monitor_logger().error("Wrong signal number for ", event, " event: ", ::strsignal(signal));
    return false;
}

} // namespace

void add_signal_events()
{
    // SIGIO stands here twice on purpose: both of its events fire.
    static nyx::NYXEventLibEventSignal signal_events[] = {
        {SIGHUP, default_signal_handler, nullptr},
        {SIGINT, default_signal_handler, nullptr},
        {SIGTRAP, default_signal_handler, nullptr},
        {SIGABRT, default_signal_handler, nullptr},
        {SIGBUS, default_signal_handler, nullptr},
        {SIGPIPE, default_signal_handler, nullptr},
        {SIGSTKFLT, default_signal_handler, nullptr},
        {SIGTSTP, default_signal_handler, nullptr},
        {SIGCONT, default_signal_handler, nullptr},
        {SIGTTIN, default_signal_handler, nullptr},
        {SIGTTOU, default_signal_handler, nullptr},
        {SIGURG, default_signal_handler, nullptr},
        {SIGXCPU, default_signal_handler, nullptr},
        {SIGXFSZ, default_signal_handler, nullptr},
        {SIGVTALRM, default_signal_handler, nullptr},
        {SIGIO, default_signal_handler, nullptr},
        {SIGIO, default_signal_handler, nullptr},
        {SIGPWR, default_signal_handler, nullptr},
        {SIGTERM, gracefull_shutdown_signal_handler, nullptr},
        {SIGUSR1, reconf_signal_handler, nullptr},
        // Children are reaped before memory is dumped, also when both wait.
        {SIGCHLD, nyx::sigchild_handler, nullptr},
        {SIGUSR2, dump_signal_handler, nullptr},
    };
    for (auto& event : signal_events)
        require_armed(event.add(event.signal(), -1),
                      std::string("event of SIG") + ::sigabbrev_np(event.signal()));
}

void hold_signals()
{
    sigset_t held;
    ::sigfillset(&held);
    for (const int fault : {SIGABRT, SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGTRAP, SIGSYS})
        ::sigdelset(&held, fault);
    ::pthread_sigmask(SIG_BLOCK, &held, nullptr);
}

void default_signal_handler(int signal, short, void*)
{
    const AnsweringRecords answer;
    monitor_logger().info("Default signal handler called for signal ", signal,
                          ". Terminating process. ");
    nyx::NYXEventBase::loop_break();
}

void gracefull_shutdown_signal_handler(int signal, short, void*)
{
    const AnsweringRecords answer;
    if (!is_own_signal(signal, SIGTERM, "graceful shutdown"))
        return;
    monitor_logger().info("Graceful shutdown event received. Terminating process. ");
    nyx::NYXEventBase::loop_exit();
}

void reconf_signal_handler(int signal, short, void*)
{
    const AnsweringRecords answer;
    if (is_own_signal(signal, SIGUSR1, "reconfiguration"))
        reconf_handler_cb();
}

void dump_signal_handler(int signal, short, void*)
{
    const AnsweringRecords answer;
    if (!is_own_signal(signal, SIGUSR2, "dump"))
        return;
    const std::unique_ptr<char, decltype(&std::free)> profile(mp_output(), &std::free);
    monitor_logger().info(profile ? profile.get() : "");
}

} // namespace nyx_monitor
