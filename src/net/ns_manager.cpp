#include "net/ns_manager.h"

#include "platform/file/text_file.h"
#include "platform/logger/sup_logger.h"
#include "text/words.h"

#include <arpa/inet.h>
#include <resolv.h>

#include <algorithm>
#include <utility>

namespace nyx {

namespace {

constexpr unsigned int reload_period_ms = 60000;
constexpr in_addr_t public_servers[] = {0x08080808, 0x01010101}; // the same in either byte order

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("NSManeger");
    return instance;
}

bool contains(const NSList& list, in_addr_t address)
{
    return std::find(list.begin(), list.end(), address) != list.end();
}

void append_once(NSList& list, in_addr_t address)
{
    if (!contains(list, address))
        list.push_back(address);
}

/// The IPv4 servers that the C library uses.
NSList system_servers()
{
    NSList servers;
    struct __res_state state {};
    if (::res_ninit(&state) != 0)
        return servers;
    for (int i = 0; i < state.nscount; ++i) {
        if (state.nsaddr_list[i].sin_family == AF_INET)
            servers.push_back(state.nsaddr_list[i].sin_addr.s_addr);
    }
    ::res_nclose(&state);
    return servers;
}

} // namespace

NSList build_ns_list(const NSList& system_servers)
{
    NSList list;
    for (const auto address : system_servers)
        append_once(list, address);
    for (const auto address : public_servers)
        append_once(list, address);
    return list;
}

bool names_a_server(std::string_view text)
{
    while (auto line = text::next_line(text)) {
        if (text::next_word(*line) == "nameserver" && !text::next_word(*line).empty())
            return true;
    }
    return false;
}

NSManeger& NSManeger::instance()
{
    static NSManeger manager;
    if (!manager.m_reload_event.is_pending() && NYXEventBase::is_initialized())
        manager.m_reload_event.add(-1, reload_period_ms, -1);
    return manager;
}

NSManeger::NSManeger(Source source)
    : m_source(std::move(source)), m_servers(m_source()),
      m_reload_event(event_timed_out, &reload_ns_list, this)
{
    if (local_ns_used)
        update_ns(true);
}

NSList NSManeger::load_initial_ns()
{
    auto servers = system_servers();
    // Without any server the C library falls back to one on this machine that
    // nobody configured.
    const auto text = platform::read_text_file(_PATH_RESCONF);
    if (servers == NSList{htonl(INADDR_LOOPBACK)} && !names_a_server(text.value_or("")))
        servers.clear();
    return build_ns_list(servers);
}

void NSManeger::set_source(Source source)
{
    m_source = std::move(source);
    m_servers = m_source();
}

void NSManeger::update_ns(bool rebuild)
{
    if (local_ns_used) {
        if (rebuild)
            append_once(m_servers, htonl(INADDR_LOOPBACK));
        return;
    }
    const auto fresh = m_source();
    if (rebuild) {
        m_servers = fresh;
        return;
    }
    auto merged = m_servers;
    merged.remove_if([&fresh](in_addr_t address) { return !contains(fresh, address); });
    for (const auto address : fresh)
        append_once(merged, address);
    if (merged == m_servers)
        return;
    m_servers = std::move(merged);
    logger().info("update_ns: the name servers have changed, there are ", m_servers.size());
}

void NSManeger::notify_ns_status(in_addr_t address, bool failed)
{
    if (m_servers.size() == 1 || m_servers.remove(address) == 0)
        return;
    m_servers.insert(failed ? m_servers.end() : m_servers.begin(), address);
}

void NSManeger::reload_ns_list(int, short, void* manager)
{
    auto& self = *static_cast<NSManeger*>(manager);
    self.m_reload_event.add(-1, reload_period_ms, -1);
    self.update_ns(false);
}

} // namespace nyx
