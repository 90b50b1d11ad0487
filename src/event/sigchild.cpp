#include "event/sigchild.h"

#include <sys/wait.h>

#include <algorithm>
#include <list>
#include <memory>

namespace nyx {

namespace {

/// An object of its own for each registration: a subscriber may have several, of
/// which the one that said true goes.
using Registration = std::shared_ptr<SigChildHandler*>;

std::list<Registration> registrations;

/// Any subscriber may register or unregister while one is notified, itself included.
void notify_subscribers(pid_t pid, int status)
{
    const auto to_notify = registrations;
    for (const auto& one : to_notify) {
        const bool still_there =
            std::find(registrations.begin(), registrations.end(), one) != registrations.end();
        if (still_there && (*one)->on_sigchild(pid, status))
            registrations.remove(one);
    }
}

} // namespace

void sigchild_handler_register(SigChildHandler* handler)
{
    registrations.push_back(std::make_shared<SigChildHandler*>(handler));
}

void sigchild_handler_unregister(SigChildHandler* handler)
{
    registrations.remove_if([handler](const auto& one) { return *one == handler; });
}

void sigchild_handler(int, short, void*)
{
    int status = 0;
    for (pid_t pid = 0; (pid = ::waitpid(-1, &status, WNOHANG | WUNTRACED)) > 0;)
        notify_subscribers(pid, status);
}

} // namespace nyx
