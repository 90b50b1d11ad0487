#include "monitor/control_messages.h"

#include "common/nyx_dispatch.h"
#include "config/keys.h"
#include "monitor/monitor.h"
#include "monitor/scheduling.h"
#include "platform/file/unique_fd.h"
#include "platform/file/while_waiting.h"
#include "platform/ipc/ipc.h"

#include <array>
#include <utility>

namespace nyx_monitor {

namespace {

constexpr std::size_t receive_buffer_size = 4096;
/// More than the link's buffer holds: all that waits is handled, and a flood
/// still lets the loop serve its timers and signals in between.
constexpr int most_messages_a_turn = 1024;

/// What all three messages have in common: one that is too long is reported and
/// obeyed, and who asked is written down.
void log_request(const unsigned char* msg, std::size_t size, const char* size_warning,
                 const char* requester)
{
    if (size > sizeof(ipcmsg_t))
        monitor_logger().warning(size_warning, size);
    if (const auto message = parse_ipc_message(msg, size))
        monitor_logger().info(requester, message->sender, " ].");
}

} // namespace

nyx::NYXEventLibEvent& message_check()
{
    static nyx::NYXEventLibEvent event(nyx::event_readable | nyx::event_timed_out, msg_check,
                                       nullptr);
    return event;
}

void charge_msgchk()
{
    unsigned timeout_ms = config::default_message_check_timeout_ms;
    if (!nyx::TheConfigurator::get_configuration().config.lookupValue(
            config::key::message_check_timeout_ms, timeout_ms))
        monitor_logger().debug("charge_msgchk: missing configuration value for message check "
                               "timeout; defaulting to 5000 ms.");
    require_armed(message_check().add(monitor().ipc_fd, timeout_ms, -1), "message check");
}

void msg_check(int, short events, void*)
{
    if (monitor().ipc_fd != -1 && events == nyx::event_readable)
        read_msgs();
    charge_msgchk();
}

void read_msgs()
{
    std::array<unsigned char, receive_buffer_size> buffer;
    for (int i = 0; i < most_messages_a_turn; ++i) {
        const auto length = read_msg(monitor().ipc_fd, buffer.data(), buffer.size(), 0);
        if (length < 0) {
            close_supervisor_link();
            return;
        }
        if (length == 0)
            return;
        handle_ipc_msg(buffer.data(), static_cast<std::size_t>(length));
        // However many messages come, the supervisor is to hear of us meanwhile.
        platform::while_waiting();
    }
}

void close_supervisor_link()
{
    nyx::IDispatch::setup(-1, {}); // its number may soon be another file's
    const platform::UniqueFd link(std::exchange(monitor().ipc_fd, -1));
}

void handle_ipc_msg(const unsigned char* msg, std::size_t size)
{
    const AnsweringRecords answer;
    auto& log = monitor_logger();
    const auto message = parse_ipc_message(msg, size);
    if (!message) {
        log.warning("handle_ipc_msg: incoming message size (", size, ") is too small.");
        return;
    }
    log.debug("handle_ipc_read_event: IPC msg received; size = ", size);
    switch (message->type) {
    case ipc_terminate:
        log.info("Received termination signal");
        handle_term_msg(msg, size);
        break;
    case ipc_stop:
        log.info("Received stop signal, probably configuration has changed");
        handle_stop_msg(msg, size);
        break;
    case ipc_reconfigure:
        log.info("Received reconf signal");
        handle_reconf_msg(msg, size);
        break;
    default:
        log.warning("handle_ipc_msg: unsupported message type: ", message->type);
    }
}

void handle_term_msg(const unsigned char* msg, std::size_t size)
{
    log_request(msg, size, "handle_term_msg: invalid termination message size: ",
                "handle_term_msg: termination requested by: [ ");
    nyx::NYXEventBase::loop_break();
}

void handle_stop_msg(const unsigned char* msg, std::size_t size)
{
    log_request(msg, size, "handle_term_msg: invalid stop message size: ",
                "handle_stop_msg: stop requested by: [ ");
    nyx::NYXEventBase::loop_break();
}

void handle_reconf_msg(const unsigned char* msg, std::size_t size)
{
    log_request(msg, size, "handle_reconf_msg: invalid termination message size: ",
                "handle_reconf_msg: reconf requested by: [ ");
    reconf_handler_cb();
}

} // namespace nyx_monitor
