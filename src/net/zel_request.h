// What a request to the management server is made of. All pure.
#pragma once

#include "utils/nyx_helper.h"

#include <cstdint>
#include <optional>
#include <string>

namespace nyx {

/// How a request proves who sent it.
struct Signature {
    std::string key;   ///< identifies the shared secret
    std::string token; ///< HMAC of string_to_sign()
};

/// The string whose HMAC is the token: `body` and the number of the `period_ms`
/// in which `now_ms` lies. The server makes it from its own clock, so a token
/// dies with its period. `period_ms` is not 0.
std::string string_to_sign(const std::string& body, std::uint64_t now_ms, unsigned int period_ms);

/// `url` with the signature, if any, and `query_args` (without leading "?" or
/// "&", may be empty) as its query.
std::string build_post_url(const std::string& url, const std::optional<Signature>& signature,
                           const std::string& query_args);

using Compressor = bool (*)(const std::string& input, std::string& output, int level);

struct EncodedBody {
    std::string bytes;
    bool gzip{}; ///< `bytes` are in the gzip format
};

/// `body`, compressed if `gzip`. When that fails the body is lost: the request
/// goes out empty, which says to the server that the sender is alive.
EncodedBody encode_body(const std::string& body, bool gzip,
                        Compressor compress = &Helper::gzip_buffer);

} // namespace nyx
