#include "platform/ipc/ipc.h"

#include "platform/file/unique_fd.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>

#include <cerrno>
#include <cstring>
#include <vector>

namespace {

using platform::UniqueFd;

class Ipc : public testing::Test {
protected:
    Ipc() { ::setenv("VOS_IPC_DIR", m_folder.path().c_str(), 1); }
    ~Ipc() override { ::unsetenv("VOS_IPC_DIR"); }

    static UniqueFd bound(const char* name, int want = 0)
    {
        int fd = -1;
        EXPECT_EQ(start_socket(&fd, name), want);
        return UniqueFd(fd);
    }

    TempFolder m_folder;
};

TEST(IpcRecord, layout_and_names)
{
    ipcmsg_t record;
    init_ipc_hdr(&record, ipc_stop, "a sender's name that is long", "destination");
    const auto* bytes = reinterpret_cast<const char*>(&record);
    EXPECT_EQ(std::string(bytes, 30), std::string("\v\0a sender's name\0destination\0", 30));
    std::memcpy(record.sender, "no NUL in sight!", sizeof record.sender);
    const auto received = std::string(bytes, sizeof record) + "{}";
    EXPECT_FALSE(parse_ipc_message(bytes, sizeof record - 1));
    const auto message = parse_ipc_message(received.data(), received.size());
    ASSERT_TRUE(message);
    EXPECT_EQ(message->sender, "no NUL in sight!");
    EXPECT_EQ(message->text, "{}");
}

TEST_F(Ipc, messages_of_every_length_arrive_as_they_were_sent)
{
    int ends[2];
    ASSERT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends), 0);
    const UniqueFd daemon(ends[0]);
    UniqueFd peer(ends[1]);
    std::vector<char> buffer(4096);
    const auto received = [&] { return read_msg(daemon.get(), buffer.data(), buffer.size(), 0); };
    EXPECT_EQ(received(), 0) << "nothing waits";
    const std::vector<char> sent(5000, 'x');
    for (const std::size_t length : {1U, 56U, 4096U, 5000U}) {
        ASSERT_GE(::send(peer.get(), sent.data(), length, 0), 0);
        EXPECT_EQ(received(), static_cast<ssize_t>(std::min<std::size_t>(length, 4096)));
    }
    ASSERT_EQ(::send(peer.get(), "", 0, 0), 0);
    ASSERT_EQ(::send(peer.get(), "last", 4, 0), 4);
    peer.reset();
    for (const ssize_t want : {0, 4, -1}) // empty, last, closed
        EXPECT_EQ(received(), want);
    ipcmsg_t record;
    init_ipc_hdr(&record, ipc_hello, "", "");
    EXPECT_EQ(send_msg(daemon.get(), record), EPIPE) << "and no SIGPIPE";
}

TEST_F(Ipc, live_socket_is_refused_and_a_stale_one_replaced)
{
    auto first = bound("vos_monitor");
    bound("vos_monitor", EADDRINUSE);
    first.reset(); // the path stays behind
    const auto second = bound("vos_monitor");
    EXPECT_TRUE(second.valid());
    m_folder.write("file.sock", "no socket at all");
    bound("file", EADDRINUSE);
    EXPECT_EQ(m_folder.read("file.sock"), "no socket at all");
    bound(std::string(200, 'n').c_str(), ENAMETOOLONG);
}

TEST_F(Ipc, folder_that_can_not_be_used)
{
    m_folder.write("file", "");
    m_folder.write("theirs/file", "");
    const bool away = ::chown(m_folder.file("theirs").c_str(), 12345, 12345) == 0; // by root
    for (const auto& [name, want] :
         {std::pair{"none", ENOENT}, {"file", ENOTDIR}, {"theirs", away ? EACCES : 0}}) {
        ::setenv("VOS_IPC_DIR", m_folder.file(name).c_str(), 1);
        bound("vos_monitor", want);
    }
}

TEST_F(Ipc, heartbeats_to_a_full_or_missing_socket_fail_at_once)
{
    const auto sender = bound("vos_monitor");
    EXPECT_EQ(dispatch_msg(ipc_heartbeat, sender.get(), "vos_monitor", "watchdog"), ENOENT);
    const auto receiver = bound("watchdog");
    while (dispatch_msg(ipc_heartbeat, sender.get(), "vos_monitor", "watchdog") == 0) {
    }
    EXPECT_EQ(errno, EAGAIN);
    ipcmsg_t record;
    EXPECT_EQ(read_msg(receiver.get(), &record, sizeof record, 0), 56);
    EXPECT_EQ(record.type, ipc_heartbeat);
    EXPECT_STREQ(record.sender, "vos_monitor");
    EXPECT_STREQ(record.destination, "watchdog");
    EXPECT_EQ(dispatch_msg(ipc_heartbeat, -1, "vos_monitor", "watchdog"), EBADF);
}

TEST_F(Ipc, another_user_s_process_is_kept_out)
{
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can become somebody else";
    int listening = -1;
    ASSERT_EQ(listen_socket(&listening, "vos"), 0);
    const UniqueFd listener(listening);
    std::filesystem::permissions(m_folder.path(), std::filesystem::perms::all);
    const pid_t child = ::fork();
    if (child == 0) {
        int fd = -1;
        ::_exit(::setuid(12345) == 0 ? connect_socket(&fd, "vos") : 99);
    }
    int status = 0;
    EXPECT_TRUE(::waitpid(child, &status, 0) == child && WEXITSTATUS(status) == EACCES) << status;
}

} // namespace
