#include "net/http_client.h"

#include "support/captured_log.h"
#include "support/report_server.h"

#include "platform/crypto/key_pair.h"
#include "platform/file/unique_fd.h"
#include "utils/nyx_crypto.h"

#include <fcntl.h>
#include <malloc.h>
#include <sys/inotify.h>

namespace {

const char* const nobody = "https://127.0.0.1:1/report";

struct HttpClientTest : testing::Test {
    bool post(const std::string& to, const std::string& body, long timeout_sec = 10,
              const std::string& cert = "")
    {
        return client.init_post_request_async(to, "zel.example", cert, body, false, timeout_sec);
    }

    const CapturedLog log;
    const ReportServer server;
    nyx::HttpClient client{false};
    const std::string url = server.url() + "/report";
    const std::string report = std::string(2700000, 'x');
};

TEST_F(HttpClientTest, only_status_200_is_success)
{
    const platform::UniqueFd output(::dup(1)), full(::open("/dev/full", O_WRONLY));
    ::dup2(full.get(), 1); // no answer is to be written there
    for (const int status : {200, 500, 302, 204}) {
        SCOPED_TRACE(status);
        server.misbehave("status " + std::to_string(status) + " 99999");
        ASSERT_TRUE(post(url, "{}"));
        drive(client);
        EXPECT_TRUE(client.is_response_received());
        EXPECT_EQ(client.get_response_code(), status);
        EXPECT_EQ(client.is_request_succeeded(), status == 200);
        EXPECT_EQ(log.contains("HTTP reponse error: " + std::to_string(status)), status != 200);
    }
    ::dup2(output.get(), 1);
    EXPECT_EQ(log.count("HTTP request completed successfully."), 1);
    EXPECT_GT(client.get_last_success_time(), 0);
    EXPECT_EQ(client.get_primary_ip() + client.get_local_ip(), "127.0.0.1127.0.0.1");
    EXPECT_EQ(client.get_statistics().uploaded, 2);
    EXPECT_TRUE(client.get_statistics().total_time > 0 && client.get_statistics().total_time < 10);
}

TEST_F(HttpClientTest, a_failed_transfer_is_logged_and_survived)
{
    const std::tuple<const char*, std::string, const char*, int, const char*> cases[] = {
        {"ok", nobody, "", 503, "Server replied with reset."},
        {"hang", url, "", 408, "HTTP request timeout."},
        {"close_mid_upload", url, "", 408, "HTTP request failed. Status code: 5"},
        {"ok", url, "/nonexistent.pem", 408, "HTTP request failed. Status code: 58 ("},
        {"ok", "ftp://127.0.0.1:1/", "", 408, "HTTP request failed. Status code: 1 ("},
        {"ok", "https://127.0.0.1:zel.example/", "", 408, "HTTP request failed. Status code: 3 ("},
    };
    std::signal(SIGPIPE, SIG_DFL);
    for (const auto& [fault, to, certificate, code, record] : cases) {
        SCOPED_TRACE(fault + to);
        server.misbehave(fault);
        ASSERT_TRUE(post(to, report, 1, certificate));
        const CapturedLog outcome;
        drive(client);
        EXPECT_EQ(client.get_response_code(), code);
        EXPECT_FALSE(client.is_request_succeeded() || client.is_response_received());
        EXPECT_TRUE(outcome.contains(record)) << outcome.text();
    }
}

TEST_F(HttpClientTest, a_large_report_leaves_in_few_steps_and_a_second_request_leaves_it_alone)
{
    server.misbehave("status 200");
    ASSERT_TRUE(post(url, report));
    for (int step = 1; step <= 2; ++step) {
        EXPECT_FALSE(post(nobody, "{}"));
        EXPECT_FALSE(client.init_get_request_async(nobody, "h", "", 1));
        EXPECT_EQ(log.count("Failed adding multi-handle: 7"), 2 * step);
        client.continue_send();
    }
    EXPECT_LE(drive(client, 100), 8);
    EXPECT_TRUE(client.is_request_succeeded());
    EXPECT_EQ(client.get_statistics().uploaded, 2700000);
    EXPECT_FALSE(post(url, "{}", -1));
    EXPECT_TRUE(log.contains("Failed setting request timeout"));
}

TEST_F(HttpClientTest, a_get_collects_the_body_a_head_the_headers_and_a_post_is_neither)
{
    for (const bool head_only : {false, true}) {
        ASSERT_TRUE(client.init_get_request_async(url, "h", "", head_only, "", "me", 10));
        drive(client);
        EXPECT_EQ(client.get_response_code(), 405);
        EXPECT_TRUE(client.get_response().starts_with(head_only ? "HTTP/1.1 405 " : "reports are"));
    }
    server.misbehave("status 302");
    ASSERT_TRUE(post(url, "{}"));
    drive(client);
    EXPECT_EQ(std::to_string(client.get_response_code()) + client.get_response(), "302");
    std::string full(nyx::largest_response, 'x');
    EXPECT_EQ(nyx::write_callback(full.data(), 1, 1, &full), 0U) << "more than is collected";
}

/// A server that knows "one" and "two", and a client with the file "pem".
struct ClientCertificateTest : testing::Test {
    bool run(const std::string& command) const
    {
        return std::system(("cd " + folder.path() + " && " + command).c_str()) == 0;
    }
    /// Who the server saw, or what failed, when `command` was run before or after the request was
    /// queued. A host of its own has no TLS session yet.
    std::string post(nyx::HttpClient& by, const std::string& host, const std::string& command,
                     bool late = false, const std::string& name = "pem")
    {
        auto url = server.url(host + ".localhost") + "/report?key=dc1&token=" + token;
        EXPECT_TRUE(late || run(command));
        EXPECT_TRUE(by.init_post_request_async(url, "h", name.empty() ? name : folder.file(name),
                                               "{}", false, 10));
        EXPECT_TRUE(!late || run(command));
        drive(by);
        if (!by.is_request_succeeded())
            return by.get_failure();
        const auto digits = std::to_string(++accepted);
        const auto note =
            server.folder.read(std::string(4 - digits.size(), '0') + digits + ".meta.json");
        const auto found = note.find(R"("commonName": ")") + 15;
        return note.substr(found, note.find('"', found) - found);
    }

    const CapturedLog log;
    const TempFolder folder;
    const bool made = run(
        "make() { name=$1; shift; openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 "
        "-nodes -days 2 -subj /CN=$name -keyout $name.key -out $name.crt $* 2>&-; } && "
        "make one && make two && make mid -CA one.crt -CAkey one.key && "
        "make leaf -CA mid.crt -CAkey mid.key && cat one.crt two.crt >known && "
        "cat one.key one.crt >one.pem && cat two.key two.crt >two.pem && "
        "cat leaf.key leaf.crt mid.crt >leaf.pem && cat one.key two.crt >wrong.pem && "
        "openssl pkey -in two.key -aes256 -passout pass: | cat - two.crt >protected.pem && "
        "cat two.pem " VOS_FIXTURES "/certificate/cut.pem >cut.pem");
    const ReportServer server{true, " --client-ca " + folder.file("known")};
    const std::string token =
        nyx::Crypto().hmac("{}" + std::to_string(std::time(nullptr) / 30), "topsecret", 0);
    nyx::HttpClient client{false};
    int accepted{0};
};

TEST_F(ClientCertificateTest, is_that_of_the_file_as_it_is_when_a_connection_is_made)
{
    ASSERT_TRUE(made);
    const std::string bad = curl_easy_strerror(CURLE_SSL_CERTPROBLEM);
    const std::pair<const char*, std::string> steps[] = {
        {"cp one.pem n; mv n pem", "one"},
        {"true", "one"},
        {"cp two.pem n; mv n pem", "two"},
        {"cat one.pem >pem", "one"},
        {"echo garbage >pem", bad},
        {"cat two.pem >pem", "two"},
        {"rm pem", bad},
        {"ln -s leaf.pem pem", "leaf"},
        {"ln -sf wrong.pem pem", bad},
        {"ln -sf two.crt pem", bad},
        {"ln -sf cut.pem pem", bad},
        {"ln -sf two.pem pem", "two"},
    };
    int hosts = 0;
    for (const bool late : {false, true})
        for (const auto& [command, want] : steps)
            EXPECT_EQ(post(client, std::to_string(++hosts), command, late), want)
                << command << late;
    EXPECT_EQ(post(client, "a", "true"), "two");
    EXPECT_EQ(post(client, "a", "rm pem"), bad);
    EXPECT_EQ(post(client, "a", "ln -s one.pem pem"), "two") << "of the session that goes on";
    EXPECT_EQ(post(client, "a", "true", false, "one.pem"), "one") << "another file";
    EXPECT_EQ(post(client, "b", "ln -sf two.pem pem"), "two");
    EXPECT_EQ(post(client, "c", "ln -sf one.pem pem", false, ""), "one") << "the option stays";

    pause_ms(1100); // only now the file's time tells of every change
    EXPECT_EQ(post(client, "kept", "true"), "one");
    const platform::UniqueFd opened(::inotify_init1(IN_NONBLOCK));
    ::inotify_add_watch(opened.get(), folder.file("one.pem").c_str(), IN_OPEN);
    EXPECT_EQ(post(client, "still-kept", "true"), "one");
    char event[sizeof(inotify_event)];
    EXPECT_EQ(::read(opened.get(), event, sizeof event), -1) << "it was read again";

    nyx::HttpClient keeping(true);
    EXPECT_EQ(post(keeping, "a", "true"), "one");
    EXPECT_EQ(post(keeping, "a", "rm pem"), "one") << "of the connection that was kept";
    EXPECT_EQ(post(keeping, "b", "true"), bad);
    for (const char* refused : {"protected.pem", "wrong.pem", "."}) // libcurl asks at the terminal
        EXPECT_FALSE(platform::read_key_pair(folder.file(refused))) << refused;
}

// Not of the suite above, whose log grows.
TEST(HttpClientLongRunTest, leaves_nothing_behind)
{
    const ReportServer server(false);
    nyx::HttpClient client(false);
    std::pair<std::ptrdiff_t, std::size_t> held; // a sanitizer looks for leaks itself
    for (int i = 0; i < 250; ++i) {
        if (i == 50)
            held = {open_descriptors(), ::mallinfo2().uordblks};
        server.misbehave(i % 2 == 0 ? "status 200" : "reset");
        ASSERT_TRUE(
            client.init_post_request_async(server.url() + "/report", "h", "", "{}", false, 9));
        drive(client, 1);
    }
    EXPECT_EQ(open_descriptors(), held.first);
    EXPECT_LT(::mallinfo2().uordblks, held.second + 4000);
}

} // namespace
