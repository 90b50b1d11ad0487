#include "monitor/node_status_sender.h"

#include "monitor/monitor.h"
#include "platform/crypto/certificate.h"
#include "platform/ipc/ipc.h"
#include "utils/node_status.h"

#include <algorithm>
#include <cstring>
#include <exception>

namespace nyx_monitor {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds period{1000};

/// The certificate is looked at each time: it is renewed without a word to us,
/// and libcurl too reads it for every transfer.
nyx_utils::NodeStatus gather(VOSHealthReporter& reporter)
{
    const auto& sending = reporter.outcome();
    nyx_utils::NodeStatus status;
    if (sending.last_accepted != 0)
        status.last_accepted = sending.last_accepted;
    status.failures_in_a_row = sending.failures_in_a_row;
    status.last_failure = sending.last_failure;
    status.resolver = nyx::to_string(reporter.client().resolver_state());
    if (const auto servers = reporter.client().count_name_servers())
        status.name_servers = static_cast<std::uint32_t>(*servers);
    status.longest_stall_ms = static_cast<std::uint32_t>(nyx::NYXEventBase::longest_stall_ms());
    const auto end = platform::read_certificate_end(reporter.get_client_cert_path());
    if (end)
        status.certificate_end = *end;
    else
        status.certificate_failure = end.reason();
    return status;
}

void send_status()
{
    const auto& daemon = monitor();
    if (daemon.ipc_fd == -1 || !daemon.reporter)
        return;
    ipcmsg_t record;
    init_ipc_hdr(&record, ipc_node_status, "vos_monitor", "watchdog");
    const auto text = libvariant::write_json(nyx_utils::to_variant(gather(*daemon.reporter)));
    if (const int error = send_msg(daemon.ipc_fd, record, text); error != 0)
        monitor_logger().debug("node status: not sent: ", std::strerror(error));
}

} // namespace

void NodeStatusSender::tell()
{
    if (m_timer.is_pending())
        return;
    const auto age = duration_cast<milliseconds>(steady_clock::now() - m_last);
    m_timer.charge(static_cast<unsigned>(std::max(milliseconds{0}, period - age).count()));
}

void NodeStatusSender::on_due(evutil_socket_t, short, void* self)
{
    static_cast<NodeStatusSender*>(self)->m_last = steady_clock::now();
    try {
        send_status();
    } catch (const std::exception& error) { // no memory: the next record says it all
        monitor_logger().debug("node status: not sent: ", error.what());
    }
}

} // namespace nyx_monitor
