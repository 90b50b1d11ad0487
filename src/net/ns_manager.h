// The name servers that this process asks, the best first.
#pragma once

#include "common/nyx_libevent.h"

#include <netinet/in.h>

#include <functional>
#include <list>
#include <string_view>

namespace nyx {

using NSList = std::list<in_addr_t>; ///< addresses in network order

/// `system_servers`, each once, followed by the public servers 8.8.8.8 and
/// 1.1.1.1 unless they are among them. Pure.
NSList build_ns_list(const NSList& system_servers);

/// Whether the resolver configuration `text` names a server at all. Pure.
bool names_a_server(std::string_view text);

/// One list for all queries of the process; it learns which servers answer.
class NSManeger {
public:
    using Source = std::function<NSList()>;

    /// The one of this process, made at the first call. It follows the system's
    /// resolver configuration once a minute if there is an event base by then.
    static NSManeger& instance();

    /// A manager of its own, with the list that `source` gives.
    explicit NSManeger(Source source = &load_initial_ns);

    /// The servers of the system's resolver configuration (/etc/resolv.conf)
    /// and the two public ones; see build_ns_list().
    static NSList load_initial_ns();

    /// Has the list made by `source` from now on, and at once.
    void set_source(Source source);

    /// Whether the server on this machine is used too, by every manager of the
    /// process: from the next update_ns(true) on. Off at first.
    static void use_local_ns(bool use) { local_ns_used = use; }
    static bool is_local_ns_used() { return local_ns_used; }

    /// Makes the list anew. With `rebuild` nothing learned is kept; without it
    /// servers that stay keep their order, and new ones follow them. While the
    /// local server is used the list stays, and `rebuild` adds 127.0.0.1 to it.
    void update_ns(bool rebuild);

    /// The list as it is now, the best server first.
    NSList get_ns_copy() const { return m_servers; }

    /// Moves a server that `failed` to the back, one that answered to the
    /// front. One that has left the list since it was asked stays out.
    void notify_ns_status(in_addr_t address, bool failed);

    /// Event callback; `manager` is a NSManeger. Arms itself again.
    static void reload_ns_list(int fd, short events, void* manager);

private:
    static inline bool local_ns_used{false};

    Source m_source;
    NSList m_servers;
    NYXEventLibEvent m_reload_event;
};

} // namespace nyx
