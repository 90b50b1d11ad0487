// What is wrong with a configuration: findings, as the operator reads them.
#pragma once

#include "config/keys.h"

#include <libconfig.h++>

#include <string>
#include <vector>

namespace vosctl {

using config::Severity;

struct Finding {
    Severity severity{};
    std::string key; ///< dotted path; empty: the whole file
    std::string message;
    unsigned int line{0}; ///< 0: unknown
};

using Findings = std::vector<Finding>;

/// "FILE: key: message", with ":LINE" behind FILE when it is known. A message
/// that is no error begins with "warning: " or "note: ".
std::string finding_text(const std::string& file, const Finding& finding);

/// Whether one of `findings` is as bad as `severity` or worse.
bool has_finding(const Findings& findings, Severity severity);

/// The tree against the table of known keys: unknown keys, other types,
/// missing keys, values that hurt. Pure: looks at no file.
Findings check_tree(const libconfig::Config& config);

/// What the tree does not show: numbers that do not fit 32 bits, of which
/// libconfig keeps the lower ones. Pure.
Findings check_numbers(const std::string& text);

} // namespace vosctl
