#include "common/nyx_dispatch.h"
#include "monitor/signals.h"
#include "unit/monitor/daemon_test.h"

#include <sys/mman.h>

#include <csignal>
#include <vector>

namespace {

using Control = DaemonTest;

std::vector<unsigned char> message(char type, std::string sender, std::size_t size)
{
    sender.resize(16);
    const auto text = std::string{type, '\0'} + sender + std::string(4096, 'x');
    return {text.data(), text.data() + size}; // no byte more that could be read
}

void receive(char type, const std::string& sender, std::size_t size)
{
    const auto bytes = message(type, sender, size);
    handle_ipc_msg(bytes.data(), bytes.size());
}

/// What ends the loop at once ("") or after what is ready ("ready "), and what does not.
const struct {
    std::function<void()> act;
    std::string ran, records;
} cases[] = {
    {[] { receive(5, "supervisor", 56); }, "",
     "handle_ipc_read_event: IPC msg received; size = 56\nReceived termination signal\n"
     "handle_term_msg: termination requested by: [ supervisor ].\n"},
    {[] { receive(11, "supervisor", 57); }, "",
     "Received stop signal, probably configuration has changed\n"
     "handle_term_msg: invalid stop message size: 57\n"
     "handle_stop_msg: stop requested by: [ supervisor ].\n"},
    {[] { receive(2, "sixteen, no NUL.", 1000); }, "ready later",
     "Received reconf signal\nhandle_reconf_msg: invalid termination message size: 1000\n"
     "handle_reconf_msg: reconf requested by: [ sixteen, no NUL. ].\nHandling reconfigure event\n"},
    {[] { receive(5, "", 55); }, "ready later", "incoming message size (55) is too small.\n"},
    {[] { receive(3, "", 56); }, "ready later", "handle_ipc_msg: unsupported message type: 3\n"},
    {[] { default_signal_handler(SIGPIPE, 0, nullptr); }, "",
     "Default signal handler called for signal 13. Terminating process. \n"},
    {[] { gracefull_shutdown_signal_handler(SIGTERM, 0, nullptr); }, "ready ",
     "Graceful shutdown event received. Terminating process. \n"},
    {[] { gracefull_shutdown_signal_handler(SIGINT, 0, nullptr); }, "ready later",
     "Wrong signal number for graceful shutdown event: Interrupt\n"},
    {[] { reconf_signal_handler(SIGHUP, 0, nullptr); }, "ready later",
     "Wrong signal number for reconfiguration event: Hangup\n"},
};

TEST_F(Control, messages_and_signals_end_the_loop_or_do_not)
{
    for (const auto& [act, ran, records] : cases) {
        const CapturedLog one;
        EXPECT_EQ(run_in_loop(act), ran) << records;
        EXPECT_TRUE(one.contains(records)) << one.text();
    }
}

TEST_F(Control, a_link_is_read_to_its_end_and_never_written_to_when_it_is_closed)
{
    const int number = daemon.ipc_fd;
    nyx::IDispatch::setup(number, "id");
    const auto unknown = message(7, "", 56);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(::write(supervisor.get(), unknown.data(), unknown.size()), 56);
    msg_check(number, nyx::event_timed_out, nullptr);
    EXPECT_EQ(log.count("unsupported message type: 7"), 0);
    EXPECT_TRUE(log.contains("defaulting to 5000 ms.") && message_check().is_pending());
    msg_check(number, nyx::event_readable, nullptr);
    EXPECT_EQ(log.count("unsupported message type: 7"), 3);
    supervisor.reset();
    msg_check(number, nyx::event_readable, nullptr);
    EXPECT_EQ(daemon.ipc_fd, -1);
    EXPECT_TRUE(message_check().is_pending()) << "on its time-out alone";
    int other[2] = {-1, -1};
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, other), 0);
    const platform::UniqueFd reused(other[0]), peer(other[1]);
    ASSERT_EQ(reused.get(), number) << "it was closed, and the lowest number is given";
    struct Sender : nyx::IDispatch {};
    EXPECT_FALSE(Sender().dispatch_msg(1)) << "written to a socket that is not the link";
    daemon.ipc_fd = ::memfd_create("can not be waited for", 0);
    EXPECT_THROW(run_in_loop([] { msg_check(-1, 0, nullptr); }), std::runtime_error);
    EXPECT_EQ(log.count("Failed to arm the message check\n"), 1);
}

} // namespace
