// The configured server URL: scheme "://" host ":" port, without a path.
#pragma once

#include <optional>
#include <string>

namespace text {

struct ServerUrl {
    std::string scheme; ///< before the first ":"
    std::string host;
    std::string port;
    bool operator==(const ServerUrl&) const = default;
};

/// Splits `url`; nothing when it has no ":" or no "//". A URL without a port
/// gives all that follows "//" as host and as port, and the request made from
/// it is refused as malformed. Pure.
std::optional<ServerUrl> split_server_url(const std::string& url);

} // namespace text
