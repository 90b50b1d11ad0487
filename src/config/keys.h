// Every setting that a program of the node reads from its configuration.
#pragma once

#include <libconfig.h++>

#include <climits>
#include <span>
#include <string_view>

namespace config {

/// How bad a finding is. A reload is refused for an error; a note is none of
/// the file's faults and leaves it clean.
enum class Severity { note, warning, error };

/// What the text of a setting has to look like.
enum class TextForm { any, filled, url, server_path, json };

struct KnownKey { // NOLINT(clang-analyzer-optin.performance.Padding): as the table reads
    const char* path;
    libconfig::Setting::Type type;
    bool required;
    Severity severity;              ///< of a required key that is missing
    const char* without;            ///< what follows when it is missing or of another type
    TextForm form{};                ///< of a text
    int least{INT_MIN};             ///< smallest number that does no harm
    const char* too_small{""};      ///< what follows below that
    Severity harm{Severity::error}; ///< how bad that is
};

/// The table.
std::span<const KnownKey> known_keys();

/// The entry of `path`; null when there is none.
const KnownKey* find_known_key(std::string_view path);

/// Whether some known key lies in the group `name`.
bool is_known_group(std::string_view name);

/// The known path that `path` was probably meant to be; null when none is near.
const char* nearest_known_path(std::string_view path);

} // namespace config
