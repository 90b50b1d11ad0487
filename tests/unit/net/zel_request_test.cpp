#include "net/zel_request.h"

#include "net/resolver.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"
#include "text/server_url.h"

#include <gtest/gtest.h>

namespace {

using text::ServerUrl;

TEST(ServerUrlTest, is_split_at_the_first_colon_and_the_last)
{
    const struct {
        const char* url;
        std::optional<text::ServerUrl> want;
    } cases[] = {
        {"https://zel.example:443", text::ServerUrl{"https", "zel.example", "443"}},
        {"https://[::1]:443", text::ServerUrl{"https", "[::1]", "443"}},
        {"https://zel.example", text::ServerUrl{"https", "zel.example", "zel.example"}},
        {"https://zel.example:", text::ServerUrl{"https", "zel.example", ""}},
        {"://", text::ServerUrl{"", "", ""}},
        {"", {}},
        {"zel.example:443", {}},
        {"//zel.example", {}},
    };
    for (const auto& row : cases)
        EXPECT_EQ(text::split_server_url(row.url), row.want) << row.url;
}

TEST(ZelRequestTest, signature_and_arguments_make_the_query)
{
    const nyx::Signature signature{"dc1", "abc"};
    EXPECT_EQ(nyx::build_post_url("u", signature, "a=1"), "u?key=dc1&token=abc&a=1");
    EXPECT_EQ(nyx::build_post_url("u", signature, ""), "u?key=dc1&token=abc");
    EXPECT_EQ(nyx::build_post_url("u", {}, "a=1"), "u?a=1");
    EXPECT_EQ(nyx::build_post_url("u", {}, ""), "u");
    EXPECT_EQ(nyx::string_to_sign("{}", 59999, 30000), "{}1");
    EXPECT_EQ(nyx::string_to_sign("{}", 60000, 30000), "{}2");
}

TEST(ZelRequestTest, a_body_that_can_not_be_compressed_is_sent_empty)
{
    const auto broken = [](const std::string&, std::string&, int) { return false; };
    const auto lost = nyx::encode_body("report", true, broken);
    EXPECT_EQ(lost.bytes, "");
    EXPECT_FALSE(lost.gzip);
    EXPECT_EQ(nyx::encode_body("report", false, broken).bytes, "report");
}

TEST(ResolverTest, answers_at_once_from_what_the_host_knows)
{
    const CapturedLog log;
    const TempFolder folder;
    const auto table = folder.write("hosts", "192.0.2.1 zel\n192.0.2.2 other zel # zel\n");
    nyx::Resolver resolver(true, 2, 3000, 0);
    const auto ask = [&](const std::string& host) {
        std::string answer;
        const auto take = [](bool failed, const char* name, int ttl,
                             std::list<std::string>& addresses, void* context) {
            auto& text = *static_cast<std::string*>(context);
            text = (failed ? "failed " : "") + std::string(name != nullptr ? name : "(null)") +
                   " " + std::to_string(ttl);
            for (const auto& address : addresses)
                text += " " + address;
        };
        EXPECT_EQ(resolver.getaddrinfo_async(host, take, &answer, table), nullptr);
        return answer;
    };
    EXPECT_EQ(ask("192.0.2.7"), "192.0.2.7 -1 192.0.2.7");
    EXPECT_EQ(ask("zel"), "zel 3600 192.0.2.1 192.0.2.2");
    EXPECT_EQ(ask(""), "failed (null) -1");
    EXPECT_EQ(log.count("[] can not be the name of a host"), 1);
}

} // namespace
