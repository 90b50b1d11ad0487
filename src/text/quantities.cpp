#include "text/quantities.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace text {

namespace {

/// `value`, which is finite and less than 1e12, with `digits` after the point.
std::string fixed(double value, int digits)
{
    std::array<char, 32> number{};
    const auto end = std::to_chars(number.data(), number.data() + number.size(), value,
                                   std::chars_format::fixed, digits);
    return {number.data(), end.ptr};
}

} // namespace

std::string decimal(double value)
{
    return std::abs(value) < 1e6 ? fixed(value, 1) : "-";
}

std::string short_number(double value, const char* unit)
{
    constexpr std::array<const char*, 6> prefixes{"", "k", "M", "G", "T", "P"};
    if (!std::isfinite(value) || value < 0)
        return "-";
    std::size_t power = 0;
    for (; value >= 999.5 && power + 1 < prefixes.size(); ++power)
        value /= 1000;
    const int digits = power == 0 || value >= 99.95 ? 0 : 1;
    return value < 1e12 ? fixed(value, digits) + ' ' + prefixes.at(power) + unit : "-";
}

std::string duration(long long seconds)
{
    constexpr long long minute = 60;
    constexpr long long hour = 60 * minute;
    constexpr long long day = 24 * hour;
    if (seconds < minute)
        return std::to_string(std::max(seconds, 0LL)) + " s";
    if (seconds < hour)
        return std::to_string(seconds / minute) + " min";
    if (seconds < day)
        return std::to_string(seconds / hour) + " h " + std::to_string(seconds % hour / minute) +
               " min";
    return std::to_string(seconds / day) + " d " + std::to_string(seconds % day / hour) + " h";
}

} // namespace text
