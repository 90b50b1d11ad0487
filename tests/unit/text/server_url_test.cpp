#include "text/server_url.h"

#include <gtest/gtest.h>

using text::ServerUrl;

TEST(ServerUrlTest, is_split_at_the_first_colon_and_the_last)
{
    const std::pair<const char*, std::optional<ServerUrl>> cases[] = {
        {"https://zel.example:443", ServerUrl{"https", "zel.example", "443"}},
        {"https://[::1]:443", ServerUrl{"https", "[::1]", "443"}},
        {"https://zel.example", ServerUrl{"https", "zel.example", "zel.example"}},
        {"https://zel.example:", ServerUrl{"https", "zel.example", ""}},
        {"://", ServerUrl{"", "", ""}},
        {"", {}},
        {"zel.example:443", {}},
        {"//zel.example", {}},
    };
    for (const auto& [url, want] : cases)
        EXPECT_EQ(text::split_server_url(url), want) << url;
}
