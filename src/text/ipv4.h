// IPv4 addresses as text.
#pragma once

#include <arpa/inet.h>

#include <string>

namespace text {

/// `address` in dotted-quad form.
inline std::string dotted_quad(const in_addr& address)
{
    char text[INET_ADDRSTRLEN];
    return ::inet_ntop(AF_INET, &address, text, sizeof text);
}

} // namespace text
