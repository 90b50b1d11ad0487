#include "net/resolver.h"

#include "net/address_text.h"
#include "net/dns_cache.h"
#include "support/captured_log.h"
#include "unit/net/dns_packet.h"

#include <gtest/gtest.h>

#include <sys/socket.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <vector>

namespace {

using nyx::NSList;
constexpr unsigned timeout_ms = 60;

nyx::NYXEventBase& event_base()
{
    static nyx::NYXEventBase base;
    if (nyx::NYXEventBase::raw() == nullptr)
        base.init();
    return base;
}

in_addr_t server_address(unsigned char number)
{
    return htonl(INADDR_LOOPBACK + number);
}

/// A name server at 127.0.0.(number + 1). It answers a query with the datagrams
/// that `script` makes of it, all at once or, with `pause_ms`, one by one.
struct Server {
    using Script = std::function<std::vector<std::string>(const std::string& query)>;

    Server(unsigned char number, Script made, unsigned pause = 0)
        : script(std::move(made)), pause_ms(pause)
    {
        sockaddr_in own{AF_INET, htons(port), {server_address(number)}, {}};
        EXPECT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr*>(&own), sizeof own), 0);
        socklen_t size = sizeof own;
        ::getsockname(socket.get(), reinterpret_cast<sockaddr*>(&own), &size);
        port = ntohs(own.sin_port); // the first picks it for all
        query_event.add(socket.get(), -1);
    }
    static void on_query(int fd, short, void* arg)
    {
        auto& self = *static_cast<Server*>(arg);
        char query[512];
        socklen_t size = sizeof self.peer;
        const auto count = ::recvfrom(fd, query, sizeof query, 0, self.to(), &size);
        ++self.asked;
        self.replies = self.script({query, static_cast<std::size_t>(count)});
        self.reply_event.charge(self.pause_ms);
    }
    static void reply(int, short, void* arg)
    {
        auto& self = *static_cast<Server*>(arg);
        while (!self.replies.empty()) {
            const auto next = self.replies.front();
            self.replies.erase(self.replies.begin());
            ::sendto(self.socket.get(), next.data(), next.size(), 0, self.to(), sizeof self.peer);
            if (self.pause_ms > 0 && self.reply_event.charge(self.pause_ms))
                break;
        }
    }
    sockaddr* to() { return reinterpret_cast<sockaddr*>(&peer); }

    Script script;
    unsigned pause_ms;
    int asked{0};
    sockaddr_in peer{};
    std::vector<std::string> replies;
    platform::UniqueFd socket{::socket(AF_INET, SOCK_DGRAM | SOCK_NONBLOCK, 0)};
    nyx::NYXEventLibEvent query_event{EV_READ | EV_PERSIST, &on_query, this};
    nyx::NYXEventLibEventTimer reply_event{&reply, this, -1};
    static unsigned short port;
};
unsigned short Server::port = 0;

std::vector<std::string> silence(const std::string&)
{
    return {};
}
std::vector<std::string> good(const std::string& query)
{
    return {answer_to(query, 2, a_record(60, 1) + a_record(60, 2))};
}
std::string forged(std::string query)
{
    ++query[1];
    return answer_to(query, 1, a_record(60, 66));
}

struct Outcome {
    std::string name, addresses;
    int ttl{}, calls{};
    nyx::Resolver* doomed{};

    static void take(bool failed, const char* name, int ttl, std::list<std::string>& addresses,
                     void* context)
    {
        auto& self = *static_cast<Outcome*>(context);
        self.name = failed ? "failed" : name;
        self.ttl = ttl;
        self.addresses.clear();
        for (const auto& address : addresses)
            self.addresses += address + " ";
        ++self.calls;
        delete self.doomed;
        nyx::NYXEventBase::loop_break();
    }
};

struct DnsResolverTest : testing::Test {
    DnsResolverTest()
    {
        event_base();
        nyx::DNSCache::shared().clear_cache();
    }
    static void use(const NSList& servers)
    {
        nyx::NSManeger::instance().set_source([servers] { return servers; });
    }
    static NSList servers() { return nyx::NSManeger::instance().get_ns_copy(); }
    void* ask(nyx::Resolver& resolver, const std::string& host = "zel.example")
    {
        return resolver.getaddrinfo_async(host, &Outcome::take, &outcome, "/dev/null");
    }
    /// The addresses found.
    std::string found(int retries = 0, bool cached = false, const std::string& host = "zel.example")
    {
        nyx::Resolver resolver(cached, retries, timeout_ms, 0, Server::port);
        if (ask(resolver, host) != nullptr)
            event_base().dispatch();
        return outcome.name == "failed" ? "failed" : outcome.addresses;
    }
    Outcome outcome;
};

TEST_F(DnsResolverTest, finds_the_server_that_answers_and_learns_the_order)
{
    Server silent(1, &silence);
    Server late(
        2, [](const auto& query) { return std::vector{answer_to(query, 1, a_record(9, 9))}; },
        timeout_ms * 3 / 2);
    Server good_one(3, &good);
    const Server failing(4,
                         [](const auto& query) { return std::vector{answer_to(query, 0, "", 2)}; });
    const auto refusing = server_address(5); // nobody listens there
    std::vector<in_addr_t> order{server_address(1), server_address(2), server_address(3), refusing};
    std::sort(order.begin(), order.end());
    do {
        NSList list(order.begin(), order.end());
        list.push_front(server_address(4));
        use(list);
        const CapturedLog log;
        ASSERT_EQ(found(), "192.0.2.1 192.0.2.2 ");
        const auto tried = std::find(list.begin(), list.end(), server_address(3));
        EXPECT_EQ(log.contains("eventcb: Connection error to server: 127.0.0.6"),
                  std::find(list.begin(), tried, refusing) != tried);
        NSList want{*tried};
        want.insert(want.end(), std::next(tried), list.end());
        want.insert(want.end(), list.begin(), tried);
        EXPECT_EQ(servers(), want);
    } while (std::next_permutation(order.begin(), order.end()));
    EXPECT_EQ(good_one.asked, 24);
}

TEST_F(DnsResolverTest, what_is_no_answer_is_dropped_within_the_same_time_out)
{
    Server server(1, [](const auto& query) {
        return std::vector<std::string>{"", "x", forged(query), good(query)[0], forged(query)};
    });
    Server second(2, &good);
    use({server_address(1), server_address(2)});
    {
        const CapturedLog log;
        EXPECT_EQ(found(), "192.0.2.1 192.0.2.2 ");
        EXPECT_EQ(log.count("that is no answer to the query"), 1);
        EXPECT_EQ(servers().front(), server_address(1));
    }
    server.pause_ms = timeout_ms / 6;
    server.script = [](const auto& query) { return std::vector(200, forged(query)); };
    const CapturedLog log;
    const auto start = nyx::Helper::get_clock();
    EXPECT_EQ(found(), "192.0.2.1 192.0.2.2 ");
    EXPECT_LT(nyx::Helper::get_clock_diff_ms(nyx::Helper::get_clock(), start), 4 * timeout_ms);
    EXPECT_TRUE(log.contains("eventcb: Connection timeout to server: 127.0.0.2"));
    EXPECT_TRUE(log.contains(" datagrams from 127.0.0.2 in all"));
    EXPECT_EQ(second.asked, 1);
}

TEST_F(DnsResolverTest, failed_queries_are_repeated_as_often_as_was_asked_for)
{
    const auto codes = [](unsigned code) {
        return
            [code](const std::string& query) { return std::vector{answer_to(query, 0, "", code)}; };
    };
    Server first(1, &silence);
    Server second(2, &silence);
    use({server_address(1), server_address(2)});
    const struct {
        const char* name;
        Server::Script script;
        int asked_first, asked_second;
        const char* want;
    } rows[] = {{"silent", &silence, 3, 3, "failed"},
                {"own failure", codes(2), 3, 3, "failed"},
                {"no such name", codes(3), 3, 0, "failed"},
                {"no addresses", codes(0), 1, 0, ""}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        use({server_address(1), server_address(2)});
        first.asked = second.asked = 0;
        first.script = second.script = row.script;
        EXPECT_EQ(found(2, true), row.want);
        EXPECT_EQ(first.asked, row.asked_first);
        EXPECT_EQ(second.asked, row.asked_second);
    }
    EXPECT_EQ(nyx::DNSCache::shared().size(), 0U);
    use({});
    EXPECT_EQ(found(), "failed");
    use({inet_addr("255.255.255.255")}); // that can not be connected to
    EXPECT_EQ(found(), "failed");
}

TEST_F(DnsResolverTest, the_cache_answers_until_the_ttl_is_over)
{
    Server server(1, &good);
    use({server_address(1)});
    EXPECT_EQ(found(0, true), "192.0.2.1 192.0.2.2 ");
    EXPECT_EQ(found(0, true), "192.0.2.1 192.0.2.2 ");
    EXPECT_EQ(found(0, true), "192.0.2.2 192.0.2.1 ");
    EXPECT_TRUE(outcome.ttl == 59 || outcome.ttl == 60) << outcome.ttl;
    EXPECT_EQ(server.asked, 1);
    EXPECT_EQ(found(0, false), "192.0.2.1 192.0.2.2 ");
    nyx::DNSCache::shared().save_answer("zel.example", -1, {"stale"});
    EXPECT_EQ(found(0, true), "192.0.2.1 192.0.2.2 ");
    EXPECT_EQ(server.asked, 3);
    server.script = [](const auto& q) { return std::vector{answer_to(q, 1, a_record(~0U, 1))}; };
    EXPECT_EQ(found(0, true, "other"), "192.0.2.1 ");
    EXPECT_EQ(outcome.ttl, 0);
}

TEST_F(DnsResolverTest, a_name_that_can_not_exist_fails_at_once)
{
    use({});
    for (const auto& host : {std::string(), std::string("a b"), std::string(300, 'a')}) {
        const CapturedLog log;
        EXPECT_EQ(found(2, true, host), "failed");
        EXPECT_TRUE(log.contains("[" + host + "] can not be the name of a host")) << host;
    }
    EXPECT_EQ(outcome.calls, 3);
    EXPECT_EQ(outcome.ttl, -1);
}

TEST_F(DnsResolverTest, a_cancelled_query_is_silent_and_a_callback_may_end_the_resolver)
{
    Server server(1, &good);
    use({server_address(1)});
    {
        nyx::Resolver resolver(true, 0, timeout_ms, 0, Server::port);
        resolver.cancel_request(nullptr);
        auto* const request = ask(resolver);
        ASSERT_NE(request, nullptr);
        resolver.cancel_request(request);
        resolver.cancel_request(request);
        ask(resolver);
    }
    server.script = &silence;
    auto resolver = std::make_unique<nyx::Resolver>(true, 0, timeout_ms, 0, Server::port);
    ask(*resolver, "first");
    ask(*resolver, "second");
    outcome.doomed = resolver.release();
    event_base().dispatch();
    EXPECT_EQ(outcome.calls, 1);
    EXPECT_EQ(server.asked, 2);
}

} // namespace
