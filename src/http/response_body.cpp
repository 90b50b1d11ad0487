#include "http/response_body.h"

#include <string>

namespace nyx {

unsigned long write_callback(char* data, unsigned long size, unsigned long count,
                             void* user) noexcept
{
    auto& body = *static_cast<std::string*>(user);
    const unsigned long length = size * count;
    if (length > largest_response - body.size())
        return 0;
    try {
        body.append(data, length);
    } catch (...) {
        return 0;
    }
    return length;
}

unsigned long discard_callback(char*, unsigned long size, unsigned long count, void*) noexcept
{
    return size * count;
}

} // namespace nyx
