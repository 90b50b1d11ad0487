// IPv4 addresses as strings.
#pragma once

#include <arpa/inet.h>

#include <string>

namespace text {

/// `address` in dotted-quad form. Pure.
inline std::string dotted_quad(const in_addr& address)
{
    char quad[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &address, quad, sizeof quad);
}

} // namespace text
