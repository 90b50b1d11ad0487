#include "common/buffer_event.h"
#include "common/loop_stall.h"
#include "common/nyx_libevent.h"
#include "platform/file/unique_fd.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <malloc.h>
#include <sys/mman.h>

#include <csignal>
#include <stdexcept>
#include <thread>

using namespace nyx;

namespace {

class EventLoop : public testing::Test {
protected:
    EventLoop()
    {
        m_base.init();
        m_base.set_event_base_priorities(2);
    }

    NYXEventBase m_base;
    CapturedLog m_log;
};

void count_and_break(int, short, void* counter)
{
    ++*static_cast<int*>(counter);
    NYXEventBase::loop_break();
}

TEST(EventBase, misuse_throws)
{
    NYXEventBase base;
    EXPECT_THROW(base.dispatch(), std::runtime_error);
    EXPECT_THROW(base.get_event_base_priorities(), std::runtime_error);
    EXPECT_THROW(NYXEventLibEventTimer(nullptr, nullptr, -1).add(-1, 1, 0), std::runtime_error);
    EXPECT_THROW(base.alloc_conn_listener(0, 0, nullptr, nullptr), std::runtime_error);
    base.init();
    EXPECT_THROW(base.init(), std::runtime_error);
    EXPECT_THROW(base.dispatch(), std::runtime_error) << "no events are armed";
}

TEST_F(EventLoop, adding_a_pending_timer_charges_it_again)
{
    int fired = 0;
    NYXEventLibEventTimer timer(count_and_break, &fired, -1);
    EXPECT_TRUE(timer.del(true)) << "never added";
    EXPECT_TRUE(timer.charge(60000) && timer.charge(1));
    EXPECT_EQ(m_log.count("Event was recharged"), 1);
    m_base.dispatch();
    EXPECT_TRUE(fired == 1 && !timer.is_pending());
    EXPECT_TRUE(timer.add(-1, 60000, 2)) << "a priority equal to the count keeps the default";
    EXPECT_TRUE(timer.del(true));
    EXPECT_EQ(m_log.count("Event removed"), 1);
}

TEST_F(EventLoop, a_refused_event_may_be_armed_again_and_may_go)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const platform::UniqueFd in(ends[0]), out(ends[1]), file(::memfd_create("", 0)), kept(::dup(0));
    ::dup2(in.get(), 0);
    NYXEventLibEvent event(event_readable, count_and_break, nullptr);
    EXPECT_FALSE(event.add(0, -1) || event.add(file.get(), -1) || event.add(file.get(), 1000, -1));
    EXPECT_EQ(::fcntl(0, F_GETFL) & O_NONBLOCK, 0);
    EXPECT_TRUE(event.add(in.get(), -1)) << "and the pipe does not block any more";
    EXPECT_FALSE(event.add(file.get(), -1) || event.is_pending());
    EXPECT_EQ(m_log.text(), "Failed to add event. Descriptor 0 is a blocking one\n"
                            "Failed to add event. errno: 1\nFailed to add event. errno: 1\n"
                            "Failed to recharged event. errno: 1\n");
    EXPECT_TRUE(event.add(0, -1) && event.del(false) && ::dup2(kept.get(), 0) == 0);
}

TEST_F(EventLoop, broken_loop_still_serves_every_event_of_the_signal)
{
    int first = 0, second = 0, other = 0;
    NYXEventLibEventSignal events[] = {{SIGIO, count_and_break, &first},
                                       {SIGIO, count_and_break, &second},
                                       {SIGUSR2, count_and_break, &other}};
    for (auto& event : events)
        ASSERT_TRUE(event.add(event.signal(), -1));
    std::raise(SIGIO);
    m_base.dispatch();
    EXPECT_EQ(std::tuple(first, second, other), std::tuple(1, 1, 0));
    std::raise(SIGUSR2);
    m_base.dispatch();
    EXPECT_EQ(first + second + other, 3) << "the first delivery must not be served again";
}

TEST_F(EventLoop, one_shot_signal_event_is_served_once_each_time_that_it_is_armed)
{
    int once = 0, always = 0;
    NYXEventLibEventSignal lasting(SIGIO, count_and_break, &always);
    for (const bool lasting_first : {false, true}) {
        NYXEventLibEvent event(event_signalled, count_and_break, &once);
        for (int i = 0; i < 4; ++i) { // the event added last is served first
            ASSERT_TRUE(i % 2 != 0 || (lasting.add(SIGIO, -1) && event.add(SIGIO, -1) &&
                                       (!lasting_first || lasting.add(SIGIO, -1))));
            std::raise(SIGIO);
            m_base.dispatch();
        }
    }
    std::raise(SIGIO);
    m_base.dispatch();
    EXPECT_EQ(std::pair(once, always), std::pair(4, 9));
}

TEST_F(EventLoop, what_a_callback_throws_comes_out_of_dispatch)
{
    NYXEventLibEventTimer timer([](int, short, void*) { throw std::out_of_range("thrown"); },
                                nullptr, -1);
    timer.charge(0);
    EXPECT_THROW(m_base.dispatch(), std::out_of_range);
    EXPECT_THROW(m_base.dispatch(), std::runtime_error) << "only once: no events are armed";
}

TEST_F(EventLoop, records_of_a_callback_are_written_at_its_end_or_when_it_is_aborted)
{
    TempFolder folder;
    LogSettings::load(folder.write("settings", "rootCategory=INFO, F\nappender.F=FileAppender\n"
                                               "appender.F.layout=SimpleLayout\n"
                                               "appender.F.fileName=" +
                                                   folder.file("log")));
    int aborted = 0;
    NYXEventLibEventSignal abortion(SIGABRT, count_and_break, &aborted);
    NYXEventLibEventTimer timer(
        [](int, short, void* place) {
            const auto log = [place] { return static_cast<TempFolder*>(place)->read("log"); };
            SupLogger::get_instance("Test").info("one");
            EXPECT_EQ(log(), "");
            std::raise(SIGABRT);
            EXPECT_EQ(log(), "INFO    : one\n");
            SupLogger::get_instance("Test").info("two");
        },
        &folder, -1);
    ASSERT_TRUE(abortion.add(SIGABRT, -1) && timer.charge(0));
    m_base.dispatch();
    EXPECT_EQ(folder.read("log"), "INFO    : one\nINFO    : two\n");
    EXPECT_EQ(aborted, 1) << "and libevent hears of it";
    SupLogger::shut_down();
}

TEST_F(EventLoop, destroyed_events_leave_nothing_in_the_debug_table)
{
    const auto churn = [this](int rounds) {
        for (int i = 0; i < rounds; ++i) {
            NYXEventLibEventTimer timer(count_and_break, nullptr, -1);
            timer.charge(1000);
            m_base.alloc_buffer_event(-1, nullptr, nullptr, nullptr, nullptr);
            event_base_loop(NYXEventBase::raw(), EVLOOP_NONBLOCK); // buffers are freed by the loop
        }
    };
    churn(1000);
    const auto before = ::mallinfo2().uordblks;
    churn(20000);
    EXPECT_LT(::mallinfo2().uordblks, before + 4096);
}

/// Two ends of a connection: the server says back what the client says.
struct Echo {
    NYXEventBase& base;
    std::unique_ptr<NYXBufferEvent> client{}, server{};
    char answer[4]{};
};

TEST_F(EventLoop, buffered_connection_carries_data_both_ways)
{
    constexpr unsigned short port = 45871;
    Echo echo{m_base};
    const auto accept = [](int fd, sockaddr*, void* arg) {
        const auto say_back = [](void* self) {
            char text[4]{};
            static_cast<Echo*>(self)->server->read(text, sizeof text);
            static_cast<Echo*>(self)->server->write(text, sizeof text);
        };
        auto& server = static_cast<Echo*>(arg)->server;
        server =
            static_cast<Echo*>(arg)->base.alloc_buffer_event(fd, say_back, nullptr, nullptr, arg);
        server->enable(EV_READ);
    };
    const auto answered = [](void* self) {
        auto& [base, client, server, answer] = *static_cast<Echo*>(self);
        client->read(answer, sizeof answer);
        NYXEventBase::loop_break();
    };
    const auto listener =
        m_base.alloc_conn_listener(port, LEV_OPT_CLOSE_ON_FREE | LEV_OPT_REUSEABLE, accept, &echo);
    EXPECT_THROW(m_base.alloc_conn_listener(port, 0, accept, &echo), std::runtime_error);
    echo.client = m_base.alloc_buffer_event(-1, answered, nullptr, nullptr, &echo);
    const timeval limit{5, 0};
    EXPECT_TRUE(echo.client->set_timeouts(&limit, &limit));
    EXPECT_TRUE(echo.client->enable(EV_READ | EV_WRITE));
    EXPECT_TRUE(echo.client->socket_connect(htonl(INADDR_LOOPBACK), port, -1));
    EXPECT_TRUE(echo.client->write("ping", 4));
    m_base.dispatch();
    EXPECT_EQ(std::string(echo.answer, 4), "ping");
}

TEST_F(EventLoop, marked_sockets_are_closed_when_they_fail_or_another_takes_their_place)
{
    const auto buffer = m_base.alloc_buffer_event(-1, nullptr, nullptr, nullptr, nullptr);
    const int unused = platform::UniqueFd(::dup(2)).get(), value = 7;
    const bool may_mark = ::setsockopt(platform::UniqueFd(::socket(AF_INET, SOCK_STREAM, 0)).get(),
                                       SOL_SOCKET, SO_MARK, &value, sizeof value) == 0;
    for (const bool connects : {true, true, false}) {
        const auto address = connects ? htonl(INADDR_LOOPBACK) : INADDR_BROADCAST;
        EXPECT_EQ(buffer->socket_connect(address, 9, value), connects && may_mark);
        int mark = 0;
        socklen_t size = sizeof mark;
        ::getsockopt(buffer->get_fd(), SOL_SOCKET, SO_MARK, &mark, &size);
        EXPECT_EQ(mark, connects && may_mark ? value : 0);
    }
    EXPECT_EQ(std::pair(buffer->get_fd(), platform::UniqueFd(::dup(2)).get()),
              std::pair(-1, unused));
}

} // namespace

TEST(EventLoopDeathTest, another_thread_is_told_that_the_loop_is_not_its_own)
{
#ifdef NDEBUG
    GTEST_SKIP() << "assertions are compiled out";
#endif
    const auto misuse = [] {
        NYXEventBase base;
        base.init();
        NYXEventLibEventTimer timer(
            [](int, short, void*) { std::thread(&NYXEventBase::loop_break).join(); }, nullptr, -1);
        timer.charge(0);
        base.dispatch();
    };
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(misuse(), "assert_loop_thread");
}

TEST(LoopStall, keeps_the_worst_and_knows_when_the_loop_began)
{
    using std::chrono::milliseconds;
    nyx::LoopStall stall;
    const nyx::LoopStall::Time zero{};
    stall.begin(zero + milliseconds(100));
    stall.timer_ran(zero, zero + milliseconds(105));
    EXPECT_EQ(stall.longest_ms(), 5) << "due before the loop began";
    stall.callback_ran(zero, zero + milliseconds(30));
    stall.timer_ran(zero + milliseconds(200), zero + milliseconds(190));
    EXPECT_EQ(stall.longest_ms(), 30);
}
