// Reports the daemon's state to the supervisor.
#pragma once

#include "common/nyx_libevent.h"
#include "platform/crypto/certificate.h"
#include "report/reporter.h"

#include <chrono>
#include <memory>

namespace nyx_monitor {

/// One record on the control link for all that changes within a second, if the
/// environment says that the supervisor wants them (node_status_variable):
/// another one would get records that it does not know. A link that is full or
/// lost costs the record. Loop thread only.
class NodeStatusSender {
public:
    using Clock = std::chrono::steady_clock;

    /// Where the link (-1: none) and the reporter (null: none) are found when a
    /// record is due; without one of them there is none. Both outlive the sender.
    /// The environment is read here.
    NodeStatusSender(const int& link, const std::unique_ptr<nyx::Reporter>& reporter);

    /// A record follows on the next loop turn, or when the last one is a second
    /// old.
    void status_changed(Clock::time_point now = Clock::now());

private:
    static void on_due(int, short, void* self);
    void send();

    const int& m_link;
    const std::unique_ptr<nyx::Reporter>& m_reporter;
    bool m_wanted;
    platform::CertificateEnd m_certificate;
    nyx::NYXEventLibEventTimer m_timer;
    Clock::time_point m_last{}; ///< when the last one was due
};

} // namespace nyx_monitor
