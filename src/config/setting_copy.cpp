#include "config/setting_copy.h"

#include <limits>

namespace nyx {

namespace {

using libconfig::Setting;

/// Up to here each integer has a double of its own.
constexpr long long largest_exact_in_double = 1LL << 53;

bool is_within(const std::optional<long long>& value, long long low, long long high)
{
    return value && *value >= low && *value <= high;
}

bool assign_integer(const Setting& from, Setting& to)
{
    const auto value = integer_of(from);
    const bool wide = to.getType() == Setting::TypeInt64;
    if (!value || (!wide && !is_within(value, std::numeric_limits<int>::min(),
                                       std::numeric_limits<int>::max())))
        return false;
    if (wide)
        to = *value;
    else
        to = static_cast<int>(*value);
    to.setFormat(from.getFormat());
    return true;
}

bool assign_float(const Setting& from, Setting& to)
{
    const auto value = integer_of(from);
    if (from.getType() == Setting::TypeFloat)
        to = static_cast<double>(from);
    else if (is_within(value, -largest_exact_in_double, largest_exact_in_double))
        to = static_cast<double>(*value);
    else
        return false;
    return true;
}

} // namespace

const char* type_text(Setting::Type type)
{
    switch (type) {
    case Setting::TypeInt:
        return "an integer";
    case Setting::TypeInt64:
        return "a 64-bit integer";
    case Setting::TypeFloat:
        return "a floating-point number";
    case Setting::TypeString:
        return "a text";
    case Setting::TypeBoolean:
        return "a boolean";
    case Setting::TypeGroup:
        return "a group";
    case Setting::TypeArray:
        return "an array";
    case Setting::TypeList:
        return "a list";
    default:
        return "nothing";
    }
}

std::optional<long long> integer_of(const Setting& setting)
{
    if (setting.getType() == Setting::TypeInt)
        return static_cast<int>(setting);
    if (setting.getType() == Setting::TypeInt64)
        return static_cast<long long>(setting);
    return std::nullopt;
}

Setting& add_setting(Setting& parent, const char* name, Setting::Type type)
{
    return parent.isGroup() && name != nullptr ? parent.add(name, type) : parent.add(type);
}

void copy_setting(const Setting& from, Setting& parent)
{
    auto& to = add_setting(parent, from.getName(), from.getType());
    if (from.isAggregate())
        copy_elements(from, to);
    else
        assign_fitting(from, to);
}

void copy_elements(const Setting& from, Setting& to)
{
    for (int at = 0; at < from.getLength(); ++at)
        copy_setting(from[at], to);
}

bool assign_fitting(const Setting& from, Setting& to)
{
    switch (to.getType()) {
    case Setting::TypeInt:
    case Setting::TypeInt64:
        return assign_integer(from, to);
    case Setting::TypeFloat:
        return assign_float(from, to);
    case Setting::TypeString:
        if (from.getType() == Setting::TypeString)
            to = from.c_str();
        return from.getType() == Setting::TypeString;
    case Setting::TypeBoolean:
        if (from.getType() == Setting::TypeBoolean)
            to = static_cast<bool>(from);
        return from.getType() == Setting::TypeBoolean;
    default:
        return false;
    }
}

} // namespace nyx
