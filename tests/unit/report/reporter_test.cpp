#include "report/reporter.h"

#include "net/ns_manager.h"
#include "support/captured_log.h"
#include "support/report_server.h"
#include "support/signing_store.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

const char* const nobody = "http://127.0.0.1:1";

/// Reports `body`, or fails to make a report of "broken".
struct Sender : SigningStore, nyx::Reporter {
    Sender()
        : SigningStore("zel_report_url=\"\";zel_http_client_timeout_sec=10;"),
          Reporter(&*conf, names, "/report")
    {
        set_on_end([this] { ++ended; });
    }
    std::string get_client_cert_path() override { return certificate; }
    std::string create_report() override
    {
        if (body == "broken")
            throw std::runtime_error("a collector failed");
        return body;
    }
    bool send_to(const std::string& url, bool resend = false)
    {
        conf->config.lookup("General.zel_report_url") = url;
        return send_report_async(resend);
    }
    /// How many reports have failed since the last accepted one, and why the last did.
    std::string failed() const
    {
        return std::to_string(outcome().failures_in_a_row) + " " + outcome().last_failure;
    }
    /// The same when what is under way has ended.
    std::string end()
    {
        do {
            EXPECT_TRUE(continue_send_report());
            pause_ms(5);
        } while (is_running());
        return failed();
    }
    std::string body = "{}", certificate;
    int ended{0};
};

TEST(Reporter, an_accepted_report_ends_a_row_of_failures)
{
    const ReportServer server(false);
    Sender sender;
    const std::tuple<const char*, const char*, bool, std::string> sends[] = {
        {"status 500", "1", false, "1 HTTP status 500"},
        {"status 204", "2", false, "2 HTTP status 204"},
        {"ok", "3", true, "0 "}, // that is "2"
        {"ok", "4", false, "0 "},
        {"status 500", "5", false, "1 HTTP status 500"},
    };
    int count = 0;
    for (const auto& [fault, body, resend, want] : sends) {
        server.misbehave(fault);
        sender.body = body;
        EXPECT_TRUE(sender.send_to(server.url(), resend));
        EXPECT_EQ(sender.ended, count++);
        EXPECT_EQ(sender.end(), want);
        EXPECT_EQ(sender.ended, count);
        EXPECT_EQ(sender.is_report_sent(), want == "0 ");
        EXPECT_EQ(sender.outcome().last_accepted != 0, count > 2);
    }
    EXPECT_EQ(server.folder.read("0001.json") + server.folder.read("0002.json"), "24");
}

TEST(Reporter, what_can_not_be_sent_counts_as_failed)
{
    const CapturedLog log;
    // Without which setting, what report to where, whether it is started, and what is said.
    const std::tuple<const char*, const char*, const char*, bool, const char*> sends[] = {
        {"", "{}", nobody, true, "1 nobody listens at the server's address"},
        {"", "{}", "nonsense", false, "2 General.zel_report_url is unusable"},
        {"", "broken", nobody, false, "3 no report could be made: a collector failed"},
        {"", "", nobody, true, "3 no report could be made: a collector failed"}, // empty: none
        {"zel_http_client_timeout_sec", "{}", nobody, false,
         "4 the configuration lacks General.zel_http_client_timeout_sec"},
    };
    Sender sender;
    sender.certificate = "/none.pem";
    for (const auto& [without, body, url, started, want] : sends) {
        if (*without != '\0')
            sender.remove(without);
        sender.body = body;
        EXPECT_EQ(sender.send_to(url), started);
        EXPECT_EQ(sender.end(), want);
        EXPECT_EQ(std::to_string(sender.ended), std::string(1, *want));
        EXPECT_EQ(sender.is_report_sent(), *body == '\0');
    }
    sender.remove("zel_report_url");
    EXPECT_FALSE(sender.send_report_async(false));
    EXPECT_EQ(sender.failed(), "5 the configuration lacks General.zel_report_url");
    EXPECT_EQ(sender.outcome().last_accepted, 0);
    EXPECT_EQ(log.count("client certificate /none.pem can not be read (No such file"), 1);
}

TEST(Reporter, one_is_under_way_at_a_time)
{
    static nyx::NYXEventBase base;
    if (nyx::NYXEventBase::raw() == nullptr)
        base.init();
    nyx::NSManeger::instance().set_source([] { return nyx::NSList{}; }); // nobody to ask
    const char* const lost = "http://zel.invalid:1";
    const std::string replaced =
        " the next one took its place before the server's name was resolved";
    const ReportServer server(false);
    Sender sender;
    EXPECT_TRUE(sender.send_to(lost));
    EXPECT_EQ(sender.failed(), "0 ");
    EXPECT_TRUE(sender.send_to(lost));
    EXPECT_EQ(sender.failed(), "1" + replaced);
    while (sender.is_running())
        event_base_loop(nyx::NYXEventBase::raw(), EVLOOP_NONBLOCK);
    EXPECT_EQ(sender.end(), "2 the server's name can not be resolved");

    EXPECT_TRUE(sender.send_to(lost));
    EXPECT_TRUE(sender.send_to(server.url()));
    EXPECT_EQ(sender.failed(), "3" + replaced);
    EXPECT_FALSE(sender.send_to(server.url())); // the one before is only queued yet
    EXPECT_EQ(sender.failed(), "4 the one before is still under way");
    EXPECT_EQ(sender.end(), "0 ");
    EXPECT_EQ(sender.ended, 5);
    sender.remove("hmac_timeout");
    EXPECT_TRUE(sender.send_to(server.url()) && sender.send_to(server.url()));
    EXPECT_EQ(sender.failed(), "1 the request can not be signed or queued");
    EXPECT_EQ(sender.end(), "2 the request can not be signed or queued");
}

} // namespace
