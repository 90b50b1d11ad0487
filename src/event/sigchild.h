// Notification of ended children.
#pragma once

#include <sys/types.h>

namespace nyx {

/// A component that starts child processes of its own.
class SigChildHandler {
public:
    virtual ~SigChildHandler() = default;
    /// `status` is the wait status of child `pid`, which has ended or was
    /// stopped. True when the child was the subscriber's; the entry that was asked is
    /// then taken off the list.
    virtual bool on_sigchild(pid_t pid, int status) = 0;
};

/// Adds a subscriber at the end; not owned, and one may be added twice.
void sigchild_handler_register(SigChildHandler* handler);
/// Removes every entry of the subscriber.
void sigchild_handler_unregister(SigChildHandler* handler);

/// Event callback for SIGCHLD: reaps every ended child, whoever started it, and
/// offers it to all subscribers in the order of their registration.
void sigchild_handler(int, short, void*);

} // namespace nyx
