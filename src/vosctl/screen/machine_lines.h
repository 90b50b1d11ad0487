// The head of the screen: which node this is, and its CPU, RAM and files. Pure.
#pragma once

#include "platform/variant/variant.h"
#include "vosctl/screen/layout.h"
#include "vosctl/screen/process_shares.h"

namespace vosctl {

/// A title and three gauges. `shares` are those of `document`, a health report.
Lines machine_lines(const libvariant::Variant& document, const ProcessShares& shares,
                    const ScreenStyle& style);

} // namespace vosctl
