#include "text/server_url.h"

namespace text {

std::optional<ServerUrl> split_server_url(const std::string& url)
{
    const auto colon = url.find(':');
    const auto slashes = url.find("//");
    if (colon == std::string::npos || slashes == std::string::npos)
        return std::nullopt;
    const auto rest = url.substr(slashes + 2);
    const auto last_colon = rest.rfind(':');
    if (last_colon == std::string::npos)
        return ServerUrl{url.substr(0, colon), rest, rest};
    return ServerUrl{url.substr(0, colon), rest.substr(0, last_colon), rest.substr(last_colon + 1)};
}

} // namespace text
