#include "vosctl/screen/process_shares.h"

#include "vosctl/screen/document_values.h"

#include <algorithm>
#include <cmath>

namespace vosctl {

ProcessShares process_shares_of(const libvariant::Variant& document)
{
    ProcessShares shares;
    for (const auto& entry : member(document, "processes_stats")) {
        ProcessShare process{string_at(entry, "process_name"), number_at(entry, "cpu"),
                             number_at(entry, "ram"), number_at(entry, "fd")};
        if (process.name == "other") {
            shares.other = process;
        } else if (process.name == "idle") {
            shares.idle = process;
        } else {
            process.fd *= 100; // a fraction, of a process alone
            shares.monitored.push_back(process);
        }
    }
    // One whose CPU is not known (no number compares with it) goes last.
    const auto rank = [](const ProcessShare& process) {
        return std::isnan(process.cpu) ? -1.0 : process.cpu;
    };
    std::stable_sort(shares.monitored.begin(), shares.monitored.end(),
                     [&](const auto& a, const auto& b) { return rank(a) > rank(b); });
    return shares;
}

} // namespace vosctl
