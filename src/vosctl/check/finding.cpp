#include "vosctl/check/finding.h"

#include <algorithm>
#include <ostream>

namespace vosctl {

std::string finding_text(const std::string& file, const Finding& finding)
{
    auto text = file;
    if (finding.key.empty() && finding.line != 0)
        text += ":" + std::to_string(finding.line);
    text += ": ";
    if (!finding.key.empty())
        text += finding.key + ": ";
    if (finding.severity != Severity::error)
        text += finding.severity == Severity::note ? "note: " : "warning: ";
    text += finding.message;
    for (auto& letter : text) // a path with a line feed must not make a second line
        if (static_cast<unsigned char>(letter) < ' ')
            letter = '?';
    return text;
}

bool has_finding(const Findings& findings, Severity severity)
{
    return std::ranges::any_of(
        findings, [severity](const Finding& finding) { return finding.severity >= severity; });
}

void print_findings(std::ostream& out, std::ostream& notes, const std::string& file,
                    const Findings& findings)
{
    for (const auto& finding : findings)
        (finding.severity == Severity::note ? notes : out) << finding_text(file, finding) << '\n';
}

} // namespace vosctl
