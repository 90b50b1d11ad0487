// Numbers and times in few letters, for people. Pure.
#pragma once

#include <string>

namespace text {

/// `value` with one decimal; "-" when it is no number, or has more than six
/// digits before the point.
std::string decimal(double value);

/// "1.5 MB" for 1,500,000 and the unit "B": two or three digits, and a prefix
/// in powers of 1,000. "-" when `value` is no number, infinite or negative.
std::string short_number(double value, const char* unit);

/// "3 s", "12 min", "5 h 20 min", "12 d 3 h". A negative time is "0 s".
std::string duration(long long seconds);

} // namespace text
