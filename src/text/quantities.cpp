#include "text/quantities.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>

namespace text {

namespace {

template <typename... Values>
std::string format(const char* pattern, Values... values)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), pattern, values...);
    return text.data();
}

} // namespace

std::string decimal(double value)
{
    return std::abs(value) < 1e6 ? format("%.1f", value) : "-";
}

std::string short_number(double value, const char* unit)
{
    constexpr std::array<const char*, 6> prefixes{"", "k", "M", "G", "T", "P"};
    if (!std::isfinite(value) || value < 0)
        return "-";
    std::size_t power = 0;
    for (; value >= 999.5 && power + 1 < prefixes.size(); ++power)
        value /= 1000;
    return format(power == 0 || value >= 99.95 ? "%.0f %s%s" : "%.1f %s%s", value,
                  prefixes.at(power), unit);
}

std::string duration(long long seconds)
{
    constexpr long long minute = 60;
    constexpr long long hour = 60 * minute;
    constexpr long long day = 24 * hour;
    if (seconds < minute)
        return format("%lld s", std::max(seconds, 0LL));
    if (seconds < hour)
        return format("%lld min", seconds / minute);
    if (seconds < day)
        return format("%lld h %lld min", seconds / hour, seconds % hour / minute);
    return format("%lld d %lld h", seconds / day, seconds % day / hour);
}

} // namespace text
