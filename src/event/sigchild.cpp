#include "event/sigchild.h"

#include <sys/wait.h>

#include <algorithm>
#include <list>

namespace nyx {

namespace {

std::list<SigChildHandler*> subscribers;

/// A subscriber may come or go while it is told, the one that is told included.
void tell_subscribers(pid_t pid, int status)
{
    const auto told = subscribers;
    for (auto* subscriber : told) {
        const bool still_there =
            std::find(subscribers.begin(), subscribers.end(), subscriber) != subscribers.end();
        if (!still_there || !subscriber->on_sigchild(pid, status))
            continue;
        const auto entry = std::find(subscribers.begin(), subscribers.end(), subscriber);
        if (entry != subscribers.end())
            subscribers.erase(entry);
    }
}

} // namespace

void sigchild_handler_register(SigChildHandler* handler)
{
    subscribers.push_back(handler);
}

void sigchild_handler_unregister(SigChildHandler* handler)
{
    subscribers.remove(handler);
}

void sigchild_handler(int, short, void*)
{
    int status = 0;
    for (pid_t pid = 0; (pid = ::waitpid(-1, &status, WNOHANG | WUNTRACED)) > 0;)
        tell_subscribers(pid, status);
}

} // namespace nyx
