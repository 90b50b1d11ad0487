#include "net/resolver.h"

#include "dns/cache.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"
#include "unit/dns/dns_packet.h"
#include "utils/nyx_helper.h"

#include <gtest/gtest.h>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/syscall.h>

#include <algorithm>
#include <functional>
#include <set>
#include <vector>

static int calls_till_refusal; ///< of libevent's epoll_ctl()

extern "C" int epoll_ctl(int epoll, int what, int fd, epoll_event* event) noexcept
{
    if (what == EPOLL_CTL_DEL || --calls_till_refusal != 0)
        return static_cast<int>(::syscall(SYS_epoll_ctl, epoll, what, fd, event));
    errno = ENOSPC;
    return -1;
}

namespace {

using nyx::NSList;
using Datagrams = std::vector<std::string>;
using Script = std::function<Datagrams(const std::string& query)>;
constexpr unsigned timeout_ms = 100;
const auto port = static_cast<unsigned short>(10000 + ::getpid() % 20000);

in_addr_t server(unsigned number)
{
    return htonl(0x7F000100 + number);
}

platform::UniqueFd bound_socket(unsigned number, int at_port = port)
{
    platform::UniqueFd socket(::socket(AF_INET, SOCK_DGRAM, 0));
    const sockaddr_in own{
        AF_INET, htons(static_cast<std::uint16_t>(at_port)), {server(number)}, {}};
    EXPECT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
    return socket;
}

/// A name server: sends what `script` makes of a query, a datagram each `pause_ms`.
struct Server {
    Server(unsigned number, Script made, unsigned pause = 1)
        : script(made), pause_ms(pause), socket(bound_socket(number))
    {
        query_event.add(socket.get(), -1);
    }
    static void on_query(int fd, short, void* arg)
    {
        auto& self = *static_cast<Server*>(arg);
        std::string query(512, '\0');
        query.resize(static_cast<std::size_t>(
            ::recvfrom(fd, query.data(), query.size(), 0, self.to(), &self.peer_size)));
        ++self.asked;
        self.replies = self.script(query);
        self.reply_event.add(-1, self.pause_ms, -1);
    }
    static void reply(int, short, void* arg)
    {
        auto& self = *static_cast<Server*>(arg);
        if (self.replies.empty()) {
            self.reply_event.del(false);
            return;
        }
        const auto& next = self.replies.front();
        ::sendto(self.socket.get(), next.data(), next.size(), 0, self.to(), self.peer_size);
        self.replies.erase(self.replies.begin());
    }
    sockaddr* to() { return reinterpret_cast<sockaddr*>(&peer); }

    Script script;
    unsigned pause_ms;
    int asked{0};
    sockaddr_in peer{};
    socklen_t peer_size{sizeof peer};
    Datagrams replies;
    platform::UniqueFd socket;
    nyx::NYXEventLibEvent query_event{nyx::event_readable | nyx::event_persistent, &on_query, this};
    nyx::NYXEventLibEventPersistTimer reply_event{&reply, this};
};

/// Scripts that answer with `count` records, and with one address or a response code.
Script answers(unsigned count, const std::string& records, unsigned flags = 0)
{
    return [=](const auto& query) { return Datagrams{answer_to(query, count, records, flags)}; };
}
Script code(unsigned number)
{
    return number == 0 ? answers(1, a_record(60)) : answers(0, "", number);
}
Datagrams silence(const std::string&)
{
    return {};
}
std::string forged(std::string query)
{
    ++query[1];
    return answer_to(query, 1, a_record(60, 66));
}

struct DnsResolverTest : testing::Test {
    DnsResolverTest()
    {
        static nyx::NYXEventBase base;
        if (nyx::NYXEventBase::raw() == nullptr)
            base.init();
        nyx::DNSCache::shared().clear_cache();
    }
    static void use(const NSList& list)
    {
        nyx::NSManeger::instance().set_source([list] { return list; });
    }
    void* ask(nyx::Resolver& resolver, const std::string& host = "zel.example",
              const std::string& static_table = "/dev/null")
    {
        const auto take = [](bool failed, const char* name, int ttl,
                             std::list<std::string>& addresses, void* context) {
            auto& self = *static_cast<DnsResolverTest*>(context);
            EXPECT_EQ(name == nullptr, failed);
            self.outcome = failed ? "failed" : addresses.empty() ? "nothing" : addresses.front();
            self.last_address = addresses.empty() ? "" : addresses.back();
            self.ttl_sec = ttl;
            ++self.calls;
            delete std::exchange(self.doomed, nullptr);
            nyx::NYXEventBase::loop_break();
        };
        return resolver.getaddrinfo_async(host, take, this, static_table);
    }
    std::string found(int retries = 0, bool cached = false)
    {
        nyx::Resolver resolver(cached, retries, timeout_ms, 0, port);
        if (ask(resolver) != nullptr)
            event_base_dispatch(nyx::NYXEventBase::raw());
        return outcome;
    }
    std::string outcome, last_address;
    int calls{0}, ttl_sec{0};
    nyx::Resolver* doomed{}; ///< destroyed by the callback
};

TEST_F(DnsResolverTest, answers_at_once_from_what_the_host_knows)
{
    const TempFolder folder;
    const auto table = folder.write("hosts", "192.0.2.1 zel\n192.0.2.2 other zel # zel\n");
    const CapturedLog log;
    nyx::Resolver resolver(true, 2, timeout_ms, 0, port);
    const std::tuple<const char*, const char*, const char*, int> rows[] = {
        {"192.0.2.7", "192.0.2.7", "192.0.2.7", -1},
        {"zel", "192.0.2.1", "192.0.2.2", 3600},
        {"", "failed", "", -1}};
    for (const auto& [host, first, last, ttl] : rows) {
        EXPECT_EQ(ask(resolver, host, table), nullptr);
        EXPECT_EQ(std::tuple(outcome, last_address, ttl_sec), std::tuple(first, last, ttl));
    }
    EXPECT_EQ(log.count("[] can not be the name of a host"), 1);
}

TEST_F(DnsResolverTest, finds_the_server_that_answers_and_learns_the_order)
{
    const Server silent(1, &silence), failing(4, code(2));
    const Server late(2, answers(1, a_record(9, 9)), timeout_ms * 3 / 2);
    const Server good(3, code(0));
    const auto refusing = server(5); // nobody listens there
    std::set<in_port_t> source_ports;
    std::vector<in_addr_t> order{server(1), server(2), server(3), refusing};
    do {
        NSList list(order.begin(), order.end());
        list.push_front(server(4));
        use(list);
        const CapturedLog log;
        ASSERT_EQ(found(), "192.0.2.1");
        source_ports.insert(good.peer.sin_port);
        const auto last = std::find(list.begin(), list.end(), server(3));
        EXPECT_EQ(log.contains("eventcb: Connection error to server: 127.0.1.5"),
                  std::find(list.begin(), last, refusing) != last);
        std::rotate(list.begin(), last, list.end());
        EXPECT_EQ(nyx::NSManeger::instance().get_ns_copy(), list);
    } while (std::next_permutation(order.begin(), order.end()));
    EXPECT_EQ(good.asked, 24);
    EXPECT_GT(source_ports.size(), 20U) << "each query is to have its own";
}

TEST_F(DnsResolverTest, a_refused_event_costs_the_server_only)
{
    const Server first(1, code(0)), second(2, code(0));
    for (const int call : {1, 2}) {
        use({server(1), server(2)});
        calls_till_refusal = call;
        EXPECT_EQ(found(), "192.0.2.1") << call;
        EXPECT_LE(calls_till_refusal, 0);
    }
    EXPECT_EQ(second.asked, 1) << "of two refusals one is mended by another try";
}

TEST_F(DnsResolverTest, what_is_no_answer_is_dropped_within_the_same_time_out)
{
    const Server first(
        1, [](const auto& q) { return Datagrams(200, forged(q)); }, timeout_ms / 6);
    const Server second(2, code(0));
    use({server(1), server(2)});
    const CapturedLog log;
    const auto start = nyx::Helper::get_clock();
    EXPECT_EQ(found(), "192.0.2.1");
    EXPECT_LT(nyx::Helper::get_clock_diff_ms(nyx::Helper::get_clock(), start), 5 * timeout_ms);
    EXPECT_TRUE(log.contains("eventcb: Connection timeout to server: 127.0.1.1"));
    EXPECT_TRUE(log.contains(" datagrams from 127.0.1.1 in all"));
}

TEST_F(DnsResolverTest, what_came_while_the_loop_was_held_up_is_read_first)
{
    Server first(1, [&](const auto& query) {
        for (const auto& each : {forged(query), forged(query), code(0)(query)[0]})
            ::sendto(first.socket.get(), each.data(), each.size(), 0, first.to(), first.peer_size);
        ::usleep(timeout_ms * 1500);
        return Datagrams();
    });
    const Server second(2, code(0));
    use({server(1), server(2)});
    EXPECT_EQ(found(), "192.0.2.1");
    EXPECT_EQ(second.asked, 0);
}

TEST_F(DnsResolverTest, forged_answers_neither_win_nor_cost_the_server_its_place)
{
    const auto other_address = bound_socket(2), other_port = bound_socket(1, port + 1);
    Server target(1, [&](const auto& query) {
        const auto wanted = answer_to(query, 1, a_record(60, 66));
        for (const auto* from : {&other_address, &other_port})
            ::sendto(from->get(), wanted.data(), wanted.size(), 0, target.to(), target.peer_size);
        Datagrams replies(200, forged(query));
        replies.push_back(wanted);
        replies.back()[13] = 'y'; // another question
        replies.insert(replies.end(), {"", "x"});
        replies.push_back(code(0)(query)[0]);
        return replies;
    });
    const Server second(3, code(0));
    const NSList list{server(1), server(3)};
    use(list);
    nyx::Resolver resolver(false, 0, 600000, 0, port);
    const CapturedLog log;
    ask(resolver);
    event_base_dispatch(nyx::NYXEventBase::raw());
    EXPECT_EQ(outcome, "192.0.2.1");
    EXPECT_EQ(nyx::NSManeger::instance().get_ns_copy(), list);
    EXPECT_EQ(second.asked, 0);
    EXPECT_EQ(log.count("that is no answer to the query"), 1);
    EXPECT_TRUE(log.contains("NYXResolver: dropped 203 datagrams")) << log.text();
}

TEST_F(DnsResolverTest, failed_queries_are_repeated_as_often_as_was_asked_for)
{
    Server first(1, &silence), second(2, &silence);
    const auto bare = [](const auto& q) {
        return Datagrams{q.substr(0, 2) + "\x81\x81" + std::string(8, '\0')};
    };
    const auto half_bad = answers(2, a_record(9) + record(1, 9, "abc", 3));
    const CapturedLog log;
    const std::tuple<Script, int, int, const char*> rows[] = {
        {&silence, 3, 3, "failed"}, {code(2), 3, 3, "failed"},  {bare, 3, 3, "failed"},
        {code(3), 3, 0, "failed"},  {half_bad, 3, 3, "failed"}, {answers(0, ""), 1, 0, "nothing"}};
    for (const auto& [script, asked_first, asked_second, want] : rows) {
        use({server(1), server(2)});
        first.asked = second.asked = 0;
        first.script = second.script = script;
        EXPECT_EQ(found(2, true), want);
        EXPECT_EQ(ttl_sec, -1);
        EXPECT_EQ(std::pair(first.asked, second.asked), std::pair(asked_first, asked_second));
    }
    EXPECT_EQ(nyx::DNSCache::shared().size(), 0U);
    EXPECT_EQ(log.count(" min ttl with value: 9\n") - log.count(" min ttl "), 0);
    first.script = answers(2, record(5, 20, "\1b\xc0\x10", 4) + a_record(60));
    EXPECT_EQ(found(), "192.0.2.1");
    EXPECT_TRUE(log.contains("CNAME resolution acquired [ b.example ] for hostname: zel.example"));
    for (const auto& list : {NSList{}, NSList{INADDR_BROADCAST}}) { // refused by connect()
        use(list);
        EXPECT_EQ(found(), "failed");
    }
}

TEST_F(DnsResolverTest, a_cancelled_query_is_silent_and_a_callback_may_end_the_resolver)
{
    Server silent(1, &silence);
    use({server(1)});
    auto resolver = std::make_unique<nyx::Resolver>(true, 0, timeout_ms, 0, port);
    resolver->cancel_request(nullptr);
    auto* const request = ask(*resolver);
    resolver->cancel_request(request);
    resolver->cancel_request(request);
    ask(*resolver);
    ask(*resolver, "second");
    doomed = resolver.release();
    event_base_dispatch(nyx::NYXEventBase::raw());
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(silent.asked, 2);
}

} // namespace
