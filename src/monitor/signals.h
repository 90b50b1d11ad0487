// What each signal does to the daemon.
#pragma once

namespace nyx_monitor {

/// Arms the events of all the signals that the daemon handles. Throws as
/// require_armed() does.
void add_signal_events();

/// From here to the end of the process holds back all signals but those of a fault in
/// it and SIGABRT, by which the supervisor ends one that stands still. Without the
/// loop's events the others would kill it.
void hold_signals();

/// Ends the loop at once.
void default_signal_handler(int signal, short, void*);
/// SIGTERM: ends the loop after the callbacks that are active.
void gracefull_shutdown_signal_handler(int signal, short, void*);
/// SIGUSR1: reloads the configuration.
void reconf_signal_handler(int signal, short, void*);
/// SIGUSR2: logs the memory profile.
void dump_signal_handler(int signal, short, void*);

} // namespace nyx_monitor
