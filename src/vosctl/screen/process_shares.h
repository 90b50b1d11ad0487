// What a health document says of processes: their shares of the machine. Pure.
#pragma once

#include "platform/variant/variant.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace vosctl {

struct ProcessShare {
    std::string name;
    double cpu; ///< percent of one core
    double ram; ///< percent of the machine
    double fd;  ///< percent of its own limit
};

/// The document's processes, and what it says of the rest of the machine.
struct ProcessShares {
    std::vector<ProcessShare> monitored; ///< the busiest first
    std::optional<ProcessShare> other;   ///< all in percent of the machine
    std::optional<ProcessShare> idle;    ///< likewise: what is free

    /// How many entries say something of the rest of the machine.
    std::size_t rest_size() const { return (other ? 1U : 0U) + (idle ? 1U : 0U); }
};

/// Reads them; a share that is missing is `unknown`.
ProcessShares process_shares_of(const libvariant::Variant& document);

} // namespace vosctl
