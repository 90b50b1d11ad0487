#include "net/zel_request.h"

#include <gtest/gtest.h>

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
