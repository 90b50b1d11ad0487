// Reading a document that somebody else made: what is missing or of another
// type shows as unknown. Pure.
#pragma once

#include "platform/variant/variant.h"

#include <limits>
#include <string>

namespace vosctl {

/// A number that is not known; it shows as "-".
constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

/// The member `key` of `tree`; null when there is none, or `tree` is no object.
/// Lies in `tree`.
const libvariant::Variant& member(const libvariant::Variant& tree, const char* key);

/// The number there; `unknown` when there is none.
double number_at(const libvariant::Variant& tree, const char* key);
/// The string there; "-" when there is none.
std::string string_at(const libvariant::Variant& tree, const char* key);
/// The integer there, as text; "-" when there is none.
std::string integer_at(const libvariant::Variant& tree, const char* key);

} // namespace vosctl
