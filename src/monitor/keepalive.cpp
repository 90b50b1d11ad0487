#include "monitor/keepalive.h"

#include "platform/ipc/ipc.h"
#include "platform/logger/sup_logger.h"
#include "utils/nyx_helper.h"

#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace nyx {

namespace {

constexpr int period_ms = 1000;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("NyxKeepAlive");
    return instance;
}

} // namespace

KeepAlive::KeepAlive() : NYXEventLibEventTimer(&KeepAlive::keepalive_cb, this, -1) {}

KeepAlive::~KeepAlive()
{
    if (m_fd > 0)
        ::close(m_fd);
}

KeepAlive* KeepAlive::instance()
{
    static KeepAlive keep_alive;
    return &keep_alive;
}

void KeepAlive::init(int checks, const std::string& name, const std::string& socket_name)
{
    if (m_checks)
        return;
    m_last_sent = Helper::get_clock(); // none is due before a period has passed
    m_name = name;
    m_checks = std::make_unique<std::vector<int>>(checks, 0);
    if (m_fd == 0) {
        const auto& socket = socket_name.empty() ? name : socket_name;
        if (const int error = start_socket(&m_fd, socket.c_str()); error != 0)
            logger().error("init: no heartbeat socket ", socket, ": ", std::strerror(error));
    }
    logger().info("init: Keepalive started for ", name, ", pending for ", checks, " checks");
    if (checks == 0)
        schedule();
}

void KeepAlive::pass_check(unsigned char number)
{
    const auto checks = m_checks ? m_checks->size() : 0;
    if (number == 0 || number > checks) {
        logger().fatal("pass_check: Invalid check number provided. Provided value is ", number);
        throw std::runtime_error("Received invalid check number");
    }
    if (m_ready)
        return;
    (*m_checks)[number - 1U] = 1;
    if (std::count(m_checks->begin(), m_checks->end(), 0) != 0)
        return;
    logger().notice("pass_check: Ready to send KA messages");
    schedule();
}

void KeepAlive::schedule()
{
    m_ready = true;
    if (!is_pending())
        charge(0);
}

void KeepAlive::send_heartbeat()
{
    m_last_sent = Helper::get_clock();
    dispatch_msg(ipc_heartbeat, m_fd, m_name.c_str(), "watchdog");
    logger().trace("send_heartbeat: Sent heartbeat");
}

void KeepAlive::send_keepalive()
{
    if (!m_ready)
        return;
    m_last_sent = Helper::get_clock();
    dispatch_msg(ipc_heartbeat, m_fd, m_name.c_str(), "watchdog");
}

void KeepAlive::send_when_due()
{
    if (!m_ready || Helper::get_clock_diff_ms(Helper::get_clock(), m_last_sent) < period_ms)
        return;
    send_heartbeat();
    charge(period_ms);
}

void KeepAlive::keepalive_cb(int, short, void* self)
{
    auto& keep_alive = *static_cast<KeepAlive*>(self);
    keep_alive.send_heartbeat();
    keep_alive.charge(period_ms);
}

} // namespace nyx
