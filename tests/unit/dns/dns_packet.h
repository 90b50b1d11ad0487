// DNS answers, made for tests.
#pragma once

#include <cstdint>
#include <string>

inline std::string u16(std::size_t value)
{
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

/// A record about `name`, by default that of the question. `size` is what it says of `data`.
inline std::string record(unsigned type, std::uint32_t ttl, const std::string& data,
                          std::size_t size, const std::string& name = "\xc0\x0c")
{
    return name + u16(type) + u16(1) + u16(ttl >> 16) + u16(ttl) + u16(size) + data;
}

inline std::string a_record(std::uint32_t ttl, int last = 1)
{
    return record(1, ttl, {'\xc0', 0, 2, static_cast<char>(last)}, 4);
}

/// The answer to `query`. `flags`: 0x200 truncated, the low bits the response code.
inline std::string answer_to(const std::string& query, unsigned count, const std::string& records,
                             unsigned flags = 0)
{
    return query.substr(0, 2) + u16(0x8180 | flags) + u16(1) + u16(count) + u16(0) + u16(0) +
           query.substr(12) + records;
}
