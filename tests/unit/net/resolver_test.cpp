#include "net/resolver.h"

#include "dns/cache.h"
#include "net/async_udp_client.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"
#include "unit/dns/dns_packet.h"
#include "utils/nyx_helper.h"

#include <gtest/gtest.h>

#include <sys/socket.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <iostream>
#include <vector>

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

/// A name server: sends what `script` makes of a query, a datagram each `pause_ms`.
struct Server {
    Server(unsigned number, Script made, unsigned pause = 1) : script(made), pause_ms(pause)
    {
        const sockaddr_in own{AF_INET, htons(port), {server(number)}, {}};
        EXPECT_EQ(::bind(socket.get(), reinterpret_cast<const sockaddr*>(&own), sizeof own), 0);
        query_event.add(socket.get(), -1);
    }
    static void on_query(int fd, short, void* arg)
    {
        auto& self = *static_cast<Server*>(arg);
        std::string query(512, '\0');
        query.resize(static_cast<std::size_t>(
            ::recvfrom(fd, query.data(), query.size(), 0, self.to(), &self.peer_size)));
        self.query = query;
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
    std::string query; ///< the last one
    sockaddr_in peer{};
    socklen_t peer_size{sizeof peer};
    Datagrams replies;
    platform::UniqueFd socket{::socket(AF_INET, SOCK_DGRAM, 0)};
    nyx::NYXEventLibEvent query_event{nyx::event_readable | nyx::event_persistent, &on_query, this};
    nyx::NYXEventLibEventPersistTimer reply_event{&reply, this};
};

/// A script that answers with the response code and one address if that is 0.
Script code(unsigned number, std::uint32_t ttl = 60)
{
    return [=](const std::string& query) {
        return Datagrams{answer_to(query, number == 0, number == 0 ? a_record(ttl) : "", number)};
    };
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
    const Server late(
        2, [](const auto& q) { return Datagrams{answer_to(q, 1, a_record(9, 9))}; },
        timeout_ms * 3 / 2);
    const Server good(3, code(0));
    const auto refusing = server(5); // nobody listens there
    std::vector<in_addr_t> order{server(1), server(2), server(3), refusing};
    do {
        NSList list(order.begin(), order.end());
        list.push_front(server(4));
        use(list);
        const CapturedLog log;
        ASSERT_EQ(found(), "192.0.2.1");
        const auto last = std::find(list.begin(), list.end(), server(3));
        EXPECT_EQ(log.contains("eventcb: Connection error to server: 127.0.1.5"),
                  std::find(list.begin(), last, refusing) != last);
        std::rotate(list.begin(), last, list.end());
        EXPECT_EQ(nyx::NSManeger::instance().get_ns_copy(), list);
    } while (std::next_permutation(order.begin(), order.end()));
    EXPECT_EQ(good.asked, 24);
}

TEST_F(DnsResolverTest, what_is_no_answer_is_dropped_within_the_same_time_out)
{
    Server first(1, [](const auto& q) { return Datagrams{"", "x", forged(q), code(0)(q)[0]}; });
    const Server second(2, code(0));
    use({server(1), server(2)});
    const CapturedLog log;
    EXPECT_EQ(found(), "192.0.2.1");
    EXPECT_EQ(second.asked, 0);
    EXPECT_EQ(log.count("that is no answer to the query"), 1);
    first.script = [](const auto& q) { return Datagrams(200, forged(q)); };
    first.pause_ms = timeout_ms / 6;
    const auto start = nyx::Helper::get_clock();
    EXPECT_EQ(found(), "192.0.2.1");
    EXPECT_LT(nyx::Helper::get_clock_diff_ms(nyx::Helper::get_clock(), start), 5 * timeout_ms);
    EXPECT_TRUE(log.contains("eventcb: Connection timeout to server: 127.0.1.1"));
    EXPECT_TRUE(log.contains(" datagrams from 127.0.1.1 in all"));
}

/// Sends forged answers of every kind to whoever asks, and then the true one.
struct Forger {
    explicit Forger(int forgeries) : left(forgeries)
    {
        const auto bind_to = [](const platform::UniqueFd& fd, unsigned number, unsigned short own) {
            const sockaddr_in address{AF_INET, htons(own), {server(number)}, {}};
            EXPECT_EQ(::bind(fd.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                      0);
        };
        bind_to(other_address, 2, port);
        bind_to(other_port, 1, static_cast<unsigned short>(port + 1));
    }
    static void forge(int, short, void* arg)
    {
        auto& self = *static_cast<Forger*>(arg);
        const auto& query = self.target.query;
        if (query.empty())
            return;
        const auto good = answer_to(query, 1, a_record(60, 66));
        auto wrong_question = good;
        wrong_question[13] = 'y';
        for (int i = 0; i < 80 && self.left > 0; ++i, --self.left) {
            const platform::UniqueFd* const from[] = {&self.target.socket, &self.target.socket,
                                                      &self.other_address, &self.other_port};
            const std::string* const what[] = {&self.wrong_id, &wrong_question, &good, &good};
            self.wrong_id = good;
            self.wrong_id[0] = static_cast<char>(good[0] + 1 + self.left % 255);
            ::sendto(from[i % 4]->get(), what[i % 4]->data(), good.size(), 0, self.target.to(),
                     self.target.peer_size);
        }
        if (self.left > 0)
            return;
        self.event.del(false);
        self.target.replies = code(0)(query);
        self.target.reply_event.add(-1, 1, -1);
    }

    int left;
    std::string wrong_id;
    platform::UniqueFd other_address{::socket(AF_INET, SOCK_DGRAM, 0)};
    platform::UniqueFd other_port{::socket(AF_INET, SOCK_DGRAM, 0)};
    Server target{1, &silence};
    nyx::NYXEventLibEventPersistTimer event{&forge, this};
};

TEST_F(DnsResolverTest, forged_answers_neither_win_nor_cost_the_server_its_place)
{
    const char* asked_for = std::getenv("VOS_FORGERIES");
    const int forgeries = asked_for != nullptr ? std::atoi(asked_for) : 20000;
    Forger forger(forgeries);
    const Server second(3, code(0));
    const NSList list{server(1), server(3)};
    use(list);
    forger.event.add(-1, 1, -1);
    nyx::Resolver resolver(false, 0, 600000, 0, port);
    const CapturedLog log;
    ask(resolver);
    event_base_dispatch(nyx::NYXEventBase::raw());
    EXPECT_EQ(outcome, "192.0.2.1");
    EXPECT_EQ(nyx::NSManeger::instance().get_ns_copy(), list);
    EXPECT_EQ(second.asked + forger.left, 0);
    EXPECT_EQ(log.count("that is no answer to the query"), 1);
    // The kernel keeps out what comes from elsewhere, and loses some of the others.
    const auto text = log.text();
    const auto read = std::stoi(text.substr(text.find("NYXResolver: dropped ") + 21));
    EXPECT_GT(read, forgeries / 4);
    std::cout << forgeries << " forged answers, " << read << " of them read and dropped\n";
}

/// Whether `counts` are what a uniform source gives, but for once in a million.
void expect_uniform(const std::vector<double>& counts, const std::vector<double>& expected)
{
    double chi_square = 0;
    for (std::size_t i = 0; i < counts.size(); ++i)
        chi_square += (counts[i] - expected[i]) * (counts[i] - expected[i]) / expected[i];
    const double freedom = static_cast<double>(counts.size()) - 1;
    const double spread = 2 / (9 * freedom); // Wilson and Hilferty's approximation
    const double limit = freedom * std::pow(1 - spread + 4.753 * std::sqrt(spread), 3);
    EXPECT_LT(chi_square, limit);
    std::cout << "chi-square " << chi_square << ", limit " << limit << '\n';
}

struct Knocker : nyx::UDPClient {
    void on_connect_success() override {}
    void on_connect_failure() override {}
    void on_writecb() override {}
    void on_readcb() override {}
    unsigned next_port()
    {
        EXPECT_TRUE(connect(server(1), port, -1, ""));
        sockaddr_in own{};
        socklen_t size = sizeof own;
        ::getsockname(m_buffer->get_fd(), reinterpret_cast<sockaddr*>(&own), &size);
        cleanup();
        event_base_loop(nyx::NYXEventBase::raw(), EVLOOP_NONBLOCK); // closes the socket
        return ntohs(own.sin_port);
    }
};

TEST_F(DnsResolverTest, ids_and_source_ports_can_not_be_guessed)
{
    constexpr int samples = 100000;
    constexpr std::size_t bins = 256;
    // High and low bytes of the ids, and the low one's distance to the last.
    std::vector<std::vector<double>> ids(3, std::vector<double>(bins));
    unsigned last = 0;
    for (int i = 0; i < samples; ++i) {
        const auto query = *nyx::build_dns_query("zel.example");
        const auto low = static_cast<unsigned char>(query[1]);
        ++ids[0][static_cast<unsigned char>(query[0])];
        ++ids[1][low];
        ++ids[2][(low - std::exchange(last, low)) % bins];
    }
    for (const auto& counts : ids)
        expect_uniform(counts, std::vector<double>(bins, samples / static_cast<double>(bins)));
    std::size_t first{}, end{};
    std::ifstream("/proc/sys/net/ipv4/ip_local_port_range") >> first >> end;
    std::vector<double> ports(bins), expected(bins);
    for (auto number = first; number <= end; ++number)
        expected[(number - first) * bins / (end + 1 - first)] +=
            samples / static_cast<double>(end + 1 - first);
    Knocker knocker;
    for (int i = 0; i < samples; ++i)
        ++ports[(knocker.next_port() - first) * bins / (end + 1 - first)];
    expect_uniform(ports, expected);
}

TEST_F(DnsResolverTest, failed_queries_are_repeated_as_often_as_was_asked_for)
{
    Server first(1, &silence), second(2, &silence);
    const struct {
        Script script;
        int asked_first, asked_second;
        const char* want;
    } rows[] = {{&silence, 3, 3, "failed"},
                {code(2), 3, 3, "failed"},
                {code(3), 3, 0, "failed"},
                {[](const auto& q) { return Datagrams{answer_to(q, 0, "")}; }, 1, 0, "nothing"}};
    for (const auto& row : rows) {
        use({server(1), server(2)});
        first.asked = second.asked = 0;
        first.script = second.script = row.script;
        EXPECT_EQ(found(2, true), row.want);
        EXPECT_EQ(first.asked, row.asked_first) << &row - rows;
        EXPECT_EQ(second.asked, row.asked_second) << &row - rows;
    }
    EXPECT_EQ(nyx::DNSCache::shared().size(), 0U);
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
