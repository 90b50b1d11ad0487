#include "monitor/node_status_sender.h"

#include "platform/ipc/ipc.h"
#include "platform/logger/sup_logger.h"
#include "utils/node_status.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <exception>

namespace nyx_monitor {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;

constexpr milliseconds period{1000};

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("VOSMonitor");
    return instance;
}

bool are_wanted()
{
    const char* value = std::getenv(node_status_variable);
    return value != nullptr && std::strcmp(value, "1") == 0;
}

/// The certificate is looked at each time: it is renewed without a word to us,
/// and a transfer too takes it as it is.
nyx_utils::NodeStatus gather(nyx::Reporter& reporter, platform::CertificateEnd& certificate)
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
    const auto end = certificate.read(reporter.get_client_cert_path());
    if (end)
        status.certificate_end = *end;
    else
        status.certificate_failure = end.reason();
    return status;
}

} // namespace

NodeStatusSender::NodeStatusSender(const int& link, const std::unique_ptr<nyx::Reporter>& reporter)
    : m_link(link), m_reporter(reporter), m_wanted(are_wanted()), m_timer(on_due, this, -1)
{
}

void NodeStatusSender::status_changed(Clock::time_point now)
{
    if (!m_wanted || m_timer.is_pending())
        return;
    const auto age = duration_cast<milliseconds>(now - m_last);
    m_timer.charge(static_cast<unsigned>(std::max(milliseconds{0}, period - age).count()));
}

void NodeStatusSender::on_due(int, short, void* self)
{
    auto& sender = *static_cast<NodeStatusSender*>(self);
    sender.m_last = Clock::now();
    try {
        sender.send();
    } catch (const std::exception& error) { // no memory: the next record says it all
        logger().debug("node status: not sent: ", error.what());
    }
}

void NodeStatusSender::send()
{
    if (m_link == -1 || !m_reporter)
        return;
    ipcmsg_t record;
    init_ipc_hdr(&record, ipc_node_status, "vos_monitor", "watchdog");
    const auto json =
        libvariant::write_json(nyx_utils::to_variant(gather(*m_reporter, m_certificate)));
    if (const int error = send_msg(m_link, record, json); error != 0)
        logger().debug("node status: not sent: ", std::strerror(error));
}

} // namespace nyx_monitor
