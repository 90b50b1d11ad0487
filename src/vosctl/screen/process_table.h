// The screen's table of processes. Pure.
#pragma once

#include "vosctl/screen/layout.h"
#include "vosctl/screen/process_shares.h"

namespace vosctl {

/// An empty line, a heading and at most `rows` rows: the monitored processes,
/// then, where there is room, the rest of the machine.
Lines process_table(const ProcessShares& shares, std::size_t rows, const ScreenStyle& style);

} // namespace vosctl
