#include "net/zel_http_client.h"

#include "support/captured_log.h"
#include "support/report_server.h"
#include "support/signing_store.h"

#include <stdexcept>

namespace {

const std::string body = R"({"a":1})";

/// A client that signs.
struct Client : SigningStore, nyx::ZELHttpClient {
    explicit Client(bool gzip = false) : ZELHttpClient(names, gzip, &*conf, true) {}
    bool post(const std::string& url)
    {
        return init_post_request_async_resolver(url, "/report", "", body, 10, "a=1");
    }
    void resolved(std::list<std::string> addresses)
    {
        resolve_complete_cb(false, "any", 60, addresses, static_cast<ZELHttpClient*>(this));
    }
};

TEST(ZelHttpClientTest, token_is_the_hmac_of_body_and_period_number)
{
    Client client;
    std::string key, token;
    ASSERT_TRUE(client.compute_hmac(body, key, token, 1700000000123));
    EXPECT_EQ(key, "dc1");
    // openssl dgst -sha256 -hmac topsecret, of {"a":1}56666666
    EXPECT_EQ(token, "06409f0d87c087f35f12c13c525f90469814fb210a42165137a4eee8220c5d4f");
    auto incomplete = client.names;
    incomplete.erase("key");
    EXPECT_THROW(nyx::ZELHttpClient(incomplete, false, nullptr, true), std::runtime_error);
}

TEST(ZelHttpClientTest, only_a_signed_report_is_accepted)
{
    const ReportServer server;
    for (const bool gzip : {false, true}) {
        SCOPED_TRACE(gzip);
        Client client(gzip);
        ASSERT_TRUE(client.post(server.url()));
        drive(client);
        EXPECT_TRUE(client.is_request_succeeded());
        const std::string number = gzip ? "0002" : "0001";
        EXPECT_EQ(server.folder.read(number + ".json"), body);
        const auto meta = server.folder.read(number + ".meta.json");
        EXPECT_NE(meta.find(R"("a": [)"), std::string::npos);
        EXPECT_EQ(meta.find("gzip") != std::string::npos, gzip);
    }
    const SigningStore store;
    nyx::ZELHttpClient plain(false, nullptr);
    ASSERT_TRUE(plain.init_post_request_async_resolver(server.url(), "/report", "", body, 10, ""));
    drive(plain);
    EXPECT_EQ(plain.get_response_code(), 403);
}

TEST(ZelHttpClientTest, a_lost_name_is_looked_for_where_it_was_last)
{
    const ReportServer server;
    const CapturedLog log;
    Client client;
    const auto lost = server.url("zel..example"); // no name server is asked for such a name
    EXPECT_TRUE(client.post(lost));
    EXPECT_EQ(log.count("resolve_complete_cb: No cached resolution. giving up"), 1);
    EXPECT_FALSE(client.is_async_running());
    EXPECT_EQ(client.resolver_state(), nyx::ResolverState::failing);
    EXPECT_EQ(client.get_failure(), "the server's name can not be resolved");

    client.resolved({"127.0.0.1", "192.0.2.1"});
    drive(client);
    EXPECT_EQ(server.folder.read("0001.json"), body);
    const auto meta = server.folder.read("0001.meta.json");
    EXPECT_NE(meta.find(R"("Host": "zel..example")"), std::string::npos) << meta;

    EXPECT_TRUE(client.post(lost));
    drive(client);
    EXPECT_TRUE(client.is_request_succeeded());
    EXPECT_EQ(server.folder.read("0002.json"), body);
    EXPECT_EQ(log.count("Trying to used cached result"), 2);
    EXPECT_EQ(client.resolver_state(), nyx::ResolverState::remembered);
    EXPECT_EQ(client.get_failure(), "");

    // So does the one that runs after a restart.
    EXPECT_EQ(client.folder.read("prog_ZELHttpClient_persistent_hosts.txt"),
              "zel..example 127.0.0.1\n");
    nyx::ZELHttpClient restarted(client.names, false, &*client.conf, true);
    EXPECT_TRUE(restarted.init_post_request_async_resolver(lost, "/report", "", body, 10, "a=1"));
    drive(restarted);
    EXPECT_TRUE(restarted.is_request_succeeded());

    EXPECT_TRUE(client.post(server.url("other..example")));
    EXPECT_FALSE(client.is_request_succeeded());
    client.resolved({});
    EXPECT_EQ(log.count("giving up"), 3);
}

TEST(ZelHttpClientTest, refuses_what_it_can_not_send_now)
{
    const ReportServer server;
    const CapturedLog log;
    Client client;
    client.resolved({"127.0.0.1"});
    EXPECT_TRUE(log.contains("Unsupported HTTP method type: 2"));
    EXPECT_FALSE(client.init_get_request_async_resolver("zel.example", "/", "", 10));
    EXPECT_TRUE(log.contains("read_url: Failed parsing ZEL URL"));
    EXPECT_TRUE(log.contains("async_resolver: Couldn't find available ZEL receiver URL"));

    EXPECT_TRUE(client.post(server.url()));
    EXPECT_TRUE(client.continue_send());
    EXPECT_TRUE(client.is_async_running());
    EXPECT_FALSE(client.post(server.url()));
    EXPECT_EQ(log.count("Request ignored since previous HTTP request is not completed yet"), 1);
    client.cancel_http_requests();
    EXPECT_FALSE(client.is_async_running());
    EXPECT_TRUE(client.post(server.url()));
    EXPECT_EQ(log.count("Successfully queued HTTP request for sending."), 2);
}

} // namespace
