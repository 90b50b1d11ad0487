#include "vosctl/support/redaction.h"

#include <gtest/gtest.h>

using namespace vosctl;

TEST(Redactor, takes_secrets_out_of_the_configuration_and_of_other_texts)
{
    libconfig::Config config;
    config.readString(
        R"(General: { hmac_secret = "v1:abcd"; hmac_key_file = "/k"; pin_token = 4711; keep = 5;
        url = "https://me:pass@h:1/a"; json = "{\"api_token\":\"tok-1\",\"a\":[{\"Password\":77}],\"b\":1}";
        passwords = ("longer-v1:abcd", { x = "in-list"; }); })");
    Redactor redactor;
    redactor.redact(config.getRoot());
    EXPECT_STREQ(config.lookup("General.pin_token"), redacted);
    std::string text = redactor.scrub(
        "v1:abcd longer-v1:abcd in-list me:pass tok-1 /r?key=a&token=12ab&x https://h");
    for (const char* key : {"General.url", "General.json", "General.hmac_key_file"})
        text += std::string("\n") + config.lookup(key).c_str();
    EXPECT_EQ(
        text,
        R"(<redacted> <redacted> <redacted> <redacted> <redacted> /r?key=a&token=<redacted>&x https://h
https://<redacted>@h:1/a
{"a":[{"Password":"<redacted>"}],"api_token":"<redacted>","b":1}
/k)");
}
