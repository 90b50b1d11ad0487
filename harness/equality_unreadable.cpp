// Processes that a user may not look at, and too few descriptors to look at them.
#include "equality_kinds.h"

#include <grp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <thread>

namespace {

void become(uid_t user)
{
    // The group too: that of root sees what is hidden.
    if (user != 0 && (::setgroups(0, nullptr) != 0 || ::setresgid(user, user, user) != 0 ||
                      ::setresuid(user, user, user) != 0))
        throw std::runtime_error("can not become another user");
}

/// Remembers itself, has children of both users, and becomes `user`.
void be_of(uid_t user, bool dumpable, int depth)
{
    shared().pids[shared().count++] = ::getpid();
    if (depth > 0)
        for (const uid_t other : {uid_t{0}, nobody})
            for (const bool open : {true, false})
                start("vosE-" + std::to_string(other), [=] { be_of(other, open, depth - 1); });
    become(user);
    ::prctl(PR_SET_DUMPABLE, dumpable ? 1 : 0);
}

/// So many descriptors can be opened while it lives.
class FewDescriptors {
public:
    explicit FewDescriptors(unsigned count)
    {
        ::getrlimit(RLIMIT_NOFILE, &m_before);
        const int next = ::dup(0);
        ::close(next);
        rlimit few = m_before;
        few.rlim_cur = static_cast<rlim_t>(next) + count;
        ::setrlimit(RLIMIT_NOFILE, &few);
    }
    FewDescriptors(const FewDescriptors&) = delete;
    FewDescriptors& operator=(const FewDescriptors&) = delete;
    ~FewDescriptors() { ::setrlimit(RLIMIT_NOFILE, &m_before); }

private:
    rlimit m_before{};
};

} // namespace

void ask_about_hidden(Asker& asker, uid_t user)
{
    constexpr int depth = 2;
    constexpr unsigned all = 1 + 4 + 16;
    const pid_t asking = ::fork();
    if (asking == 0) {
        start("vosE-root", [] { be_of(0, true, depth); });
        wait_for_ready(all);
        become(user);
        std::vector<std::string> commands{children_of(1), children_of(::getpid()), named("vosE"),
                                          named("vosE-65534")};
        for (unsigned i = 0; i < shared().count; ++i)
            commands.push_back(children_of(shared().pids[i]));
        while (asker.goes_on())
            asker.compare(commands);
        std::exit(asker.tell());
    }
    int status = 0;
    ::waitpid(asking, &status, 0);
    std::_Exit(WIFEXITED(status) ? WEXITSTATUS(status) : 1);
}

void ask_without_descriptors(Asker& asker)
{
    constexpr unsigned children = 4;
    const pid_t quiet = start("vosE-quiet", [] {
        for (unsigned i = 0; i < children; ++i)
            start("vosE-child");
        std::thread(sleep_for_ever).detach();
    });
    wait_for_ready(children + 2);
    const std::vector<std::string> commands{children_of(quiet), children_of(::getpid()),
                                            named("vosE-quiet"), named("vosE-none")};
    while (asker.goes_on()) {
        for (const bool anew : {true, false}) {
            asker.compare(commands, [&] {
                for (unsigned left = 0; left < 4; ++left) {
                    if (anew)
                        asker.start_anew();
                    const FewDescriptors few(left);
                    asker.hold_and_answer(commands);
                    for (const auto& command : commands)
                        asker.answer(command);
                }
            });
        }
    }
    end_all();
}
