// What must not leave the node: secrets of the configuration.
#pragma once

#include <libconfig.h++>

#include <string>
#include <string_view>
#include <vector>

namespace vosctl {

constexpr const char* redacted = "<redacted>";

/// Whether a setting of that name holds a secret: "secret", "password",
/// "token" and the like are in it, whatever their case. Names of files (ending
/// in "_file" or "_path") do not. Pure.
bool names_a_secret(std::string_view key);

/// Takes the secrets out of a configuration, remembers them, and takes them out
/// of every other text.
class Redactor {
public:
    /// Replaces the values of secret settings, whatever their type, and the
    /// passwords within URLs and JSON strings. Comments do not outlive parsing.
    void redact(libconfig::Setting& setting);
    /// Has scrub() take out `secret` too. One of fewer than four bytes is not:
    /// it would be found everywhere.
    void remember(std::string secret);
    /// `text` without what is remembered, and without the values of "token="
    /// in logged requests.
    std::string scrub(std::string text) const;

private:
    void remember_strings(const libconfig::Setting& setting);
    void redact_member(libconfig::Setting& parent, int at);
    void redact_string(libconfig::Setting& setting);

    std::vector<std::string> m_secrets; ///< the longest first
};

} // namespace vosctl
