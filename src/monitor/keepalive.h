// The heartbeat, by which the supervisor knows that the loop is alive.
#pragma once

#include "common/nyx_libevent.h"

#include <ctime>
#include <memory>
#include <string>
#include <vector>

namespace nyx {

/// One heartbeat a second, once every start-up check has passed. A send that
/// fails is not noticed: the next one follows a second later.
class KeepAlive : public NYXEventLibEventTimer {
public:
    static KeepAlive* instance();

    /// Opens the socket and waits for `checks` checks; none starts the
    /// heartbeat at once. `name` is the sender; an empty `socket_name` stands
    /// for the same. Only the first call counts.
    void init(int checks, const std::string& name, const std::string& socket_name);

    /// Check `number` (from 1) has passed. Throws std::runtime_error for a
    /// number that there is no check of.
    void pass_check(unsigned char number);

    /// Heartbeats start on the next loop turn.
    void schedule();

    void send_heartbeat();
    /// One heartbeat between the regular ones, if those have begun.
    void send_keepalive();

    /// For work that keeps the loop from its timers: sends a heartbeat when the
    /// last one, or init(), is a period ago, and counts the next period from
    /// there.
    void send_when_due();

    static void keepalive_cb(int, short, void* self);

private:
    KeepAlive();
    ~KeepAlive() override;

    int m_fd{0};
    bool m_ready{false};
    timespec m_last_sent{}; ///< monotonic clock; at first when init() was called
    std::string m_name;
    std::unique_ptr<std::vector<int>> m_checks;
};

} // namespace nyx
