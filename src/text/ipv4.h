// IPv4 addresses as strings.
#pragma once

#include <arpa/inet.h>

#include <optional>
#include <string>

namespace text {

/// `address` in dotted-quad form. Pure.
inline std::string dotted_quad(const in_addr& address)
{
    char quad[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &address, quad, sizeof quad);
}

/// The address whose dotted-quad form `quad` is, all of it: nothing may follow,
/// not even a NUL. Pure.
inline std::optional<in_addr> parse_dotted_quad(const std::string& quad)
{
    in_addr address{};
    if (quad.find('\0') != std::string::npos || ::inet_pton(AF_INET, quad.c_str(), &address) != 1)
        return std::nullopt;
    return address;
}

} // namespace text
