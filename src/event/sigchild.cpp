#include "event/sigchild.h"

#include <sys/wait.h>

#include <algorithm>
#include <list>

namespace nyx {

namespace {

std::list<SigChildHandler*> subscribers;

/// Any subscriber may register or unregister while one is notified, itself included.
void notify_subscribers(pid_t pid, int status)
{
    const auto to_notify = subscribers;
    for (auto* subscriber : to_notify) {
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
        notify_subscribers(pid, status);
}

} // namespace nyx
