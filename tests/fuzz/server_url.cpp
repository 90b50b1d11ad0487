// The configured URL of the server, and the URL of a request made from it.
#include "text/server_url.h"
#include "fuzz/target.h"
#include "net/zel_request.h"

void fuzz_one(std::string_view input)
{
    const std::string url(input);
    const auto split = text::split_server_url(url);
    REQUIRE(split.has_value() == (url.find("//") != url.npos && url.find(':') != url.npos));
    if (!split)
        return;
    REQUIRE(url.starts_with(split->scheme + ":"));
    REQUIRE(url.ends_with(split->port));
    REQUIRE(url.find(split->host) != url.npos);
    REQUIRE(nyx::build_post_url(url, std::nullopt, "").size() == url.size());
    const auto request = nyx::build_post_url(url, nyx::Signature{"key", "token"}, split->host);
    REQUIRE(request.starts_with(url) && request.ends_with(split->host));
}
