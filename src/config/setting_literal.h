// Values as an operator types them, and as libconfig reads them.
#pragma once

#include <libconfig.h++>

#include <optional>
#include <string>

namespace vosctl {

/// `value` written as a setting of `type`; nothing when it is none, such as a
/// number that does not fit or a group. Pure.
std::optional<std::string> literal_of(const std::string& value, libconfig::Setting::Type type);

/// The type that `value` looks like: a boolean, an integer as wide as needed, a
/// floating-point number, or else a text. Pure.
libconfig::Setting::Type type_of(const std::string& value);

} // namespace vosctl
