// The types of settings, and copying them from one libconfig tree to another.
#pragma once

#include <libconfig.h++>

#include <optional>

namespace nyx {

/// "an integer", "a list" and so on.
const char* type_text(libconfig::Setting::Type type);

/// The value of a 32-bit or 64-bit integer; nothing for any other type.
std::optional<long long> integer_of(const libconfig::Setting& setting);

/// Adds an empty setting: to a group under `name`, to a list or an array
/// without. Throws what libconfig throws.
libconfig::Setting& add_setting(libconfig::Setting& parent, const char* name,
                                libconfig::Setting::Type type);

/// Adds a copy of `from` and all that is in it, under its own name.
void copy_setting(const libconfig::Setting& from, libconfig::Setting& parent);

/// Adds a copy of each element of `from`.
void copy_elements(const libconfig::Setting& from, libconfig::Setting& to);

/// Gives the scalar `to` the value of `from`, where nothing of it gets lost: a
/// number as a wider one, or as a narrower integer that can hold it. False, and
/// `to` is as it was, for any other type.
bool assign_fitting(const libconfig::Setting& from, libconfig::Setting& to);

} // namespace nyx
