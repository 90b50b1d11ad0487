#include "net/zel_request.h"

namespace nyx {

namespace {

constexpr int fastest_level = 1;

} // namespace

std::string string_to_sign(const std::string& body, std::uint64_t now_ms, unsigned int period_ms)
{
    return body + std::to_string(now_ms / period_ms);
}

std::string build_post_url(const std::string& url, const std::optional<Signature>& signature,
                           const std::string& query_args)
{
    std::string full_url = url;
    if (signature)
        full_url += "?key=" + signature->key + "&token=" + signature->token;
    if (!query_args.empty())
        full_url += (signature ? "&" : "?") + query_args;
    return full_url;
}

EncodedBody encode_body(const std::string& body, bool gzip, Compressor compress)
{
    if (!gzip)
        return {body, false};
    EncodedBody encoded;
    encoded.gzip = compress(body, encoded.bytes, fastest_level);
    return encoded;
}

} // namespace nyx
