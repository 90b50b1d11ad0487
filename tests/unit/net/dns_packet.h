// DNS answers, made for tests.
#pragma once

#include <cstdint>
#include <string>

inline std::string u16(unsigned value)
{
    return {static_cast<char>(value >> 8), static_cast<char>(value)};
}

/// A record about the name in the question. `size` is what it says of `data`.
inline std::string record(unsigned type, std::uint32_t ttl, const std::string& data, int size = -1,
                          const std::string& name = "\xc0\x0c")
{
    return name + u16(type) + u16(1) + u16(ttl >> 16) + u16(ttl) +
           u16(size < 0 ? static_cast<unsigned>(data.size()) : static_cast<unsigned>(size)) + data;
}

inline std::string a_record(std::uint32_t ttl, unsigned char last, unsigned char first = 192)
{
    return record(1, ttl, {static_cast<char>(first), 0, 2, static_cast<char>(last)});
}

/// The answer to `query`. `flags` are the low bits: 0x200 truncated, 15 the response code.
inline std::string answer_to(const std::string& query, unsigned count, const std::string& records,
                             unsigned flags = 0)
{
    return query.substr(0, 2) + u16(0x8180 | flags) + u16(1) + u16(count) + u16(0) + u16(0) +
           query.substr(12) + records;
}
