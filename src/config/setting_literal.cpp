#include "config/setting_literal.h"

#include "text/words.h"

#include <cmath>
#include <cstdint>

namespace vosctl {

namespace {

using libconfig::Setting;

std::string quoted(const std::string& value)
{
    constexpr char digits[] = "0123456789abcdef";
    std::string text = "\"";
    for (const char letter : value) {
        const auto byte = static_cast<unsigned char>(letter);
        if (letter == '"' || letter == '\\')
            text += '\\';
        if (byte >= ' ')
            text += letter;
        else
            text.append("\\x") += {digits[byte >> 4], digits[byte & 15]};
    }
    return text + '"';
}

/// libconfig takes a number without point and exponent for an integer.
std::optional<std::string> float_literal(const std::string& value)
{
    const auto number = text::to_number<double>(value);
    if (!number || !std::isfinite(*number))
        return std::nullopt;
    if (value.find_first_of(".eE") == std::string::npos)
        return value + ".0";
    return value;
}

} // namespace

std::optional<std::string> literal_of(const std::string& value, Setting::Type type)
{
    switch (type) {
    case Setting::TypeInt:
        return text::to_number<std::int32_t>(value) ? std::optional(value) : std::nullopt;
    case Setting::TypeInt64:
        return text::to_number<std::int64_t>(value) ? std::optional(value + "L") : std::nullopt;
    case Setting::TypeFloat:
        return float_literal(value);
    case Setting::TypeBoolean:
        return value == "true" || value == "false" ? std::optional(value) : std::nullopt;
    case Setting::TypeString:
        return quoted(value);
    default:
        return std::nullopt;
    }
}

Setting::Type type_of(const std::string& value)
{
    for (const auto type :
         {Setting::TypeBoolean, Setting::TypeInt, Setting::TypeInt64, Setting::TypeFloat})
        if (literal_of(value, type))
            return type;
    return Setting::TypeString;
}

} // namespace vosctl
