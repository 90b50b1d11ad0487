#include "vosctl/support/log_tail.h"
#include "vosctl/support/redaction.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace vosctl;

TEST(Bundle, takes_secrets_out_of_the_configuration_and_of_other_texts)
{
    libconfig::Config config;
    config.readString(
        R"(General: { hmac_secret = "v1:abcd"; hmac_key_file = "/k"; pin_token = 4711; keep = 5;
        url = "https://me:pass@h:1/a"; json = "{\"api_token\":\"tok-1\",\"a\":[{\"Password\":77}],\"b\":1}";
        passwords = ("longer-abcd", { x = "in-list"; }); })");
    Redactor redactor;
    redactor.redact(config.getRoot());
    std::string pin;
    config.lookupValue("General.pin_token", pin);
    EXPECT_EQ(pin, redacted);
    std::string text =
        redactor.scrub("v1:abcd longer-abcd in-list me:pass tok-1 /r?key=a&token=12ab&x https://h");
    for (const char* key : {"General.url", "General.json", "General.hmac_key_file"}) {
        std::string value;
        config.lookupValue(key, value);
        text += "\n" + value;
    }
    EXPECT_EQ(
        text,
        R"(<redacted> <redacted> <redacted> <redacted> <redacted> /r?key=a&token=<redacted>&x https://h
https://<redacted>@h:1/a
{"a":[{"Password":"<redacted>"}],"api_token":"<redacted>","b":1}
/k)");
}

TEST(Bundle, finds_the_last_lines)
{
    const std::tuple<const char*, std::size_t, const char*> cases[] = {{"", 2, ""},
                                                                       {"\n", 2, "\n"},
                                                                       {"a", 2, "a"},
                                                                       {"a\nb\nc\n", 2, "b\nc\n"},
                                                                       {"a\nb\nc", 2, "b\nc"},
                                                                       {"a\n\n\n", 2, "\n\n"},
                                                                       {"a\nb\n", 2, "a\nb\n"},
                                                                       {"\n\na\n", 1, "a\n"},
                                                                       {"a\nb\n", 0, ""}};
    for (const auto& [text, count, want] : cases)
        EXPECT_EQ(last_lines(text, count), want) << text;
}
