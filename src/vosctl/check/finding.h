// What is wrong with a configuration, as the operator reads it.
#pragma once

#include "config/keys.h"

#include <iosfwd>
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

/// "FILE: key: message", with ":LINE" after FILE when it is known. A message
/// that is no error begins with "warning: " or "note: ".
std::string finding_text(const std::string& file, const Finding& finding);

/// Whether one of `findings` is as bad as `severity` or worse.
bool has_finding(const Findings& findings, Severity severity);

/// Writes the findings, one a line: errors and warnings to `out`, notes to
/// `notes`.
void print_findings(std::ostream& out, std::ostream& notes, const std::string& file,
                    const Findings& findings);

} // namespace vosctl
