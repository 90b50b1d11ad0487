// The screen's table of network interfaces. Pure.
#pragma once

#include "platform/variant/variant.h"
#include "vosctl/screen/layout.h"

namespace vosctl {

/// An empty line, a heading and at most `rows` rows of `interfaces`, the list
/// in a health document.
Lines interface_table(const libvariant::Variant& interfaces, std::size_t rows,
                      const ScreenStyle& style);

} // namespace vosctl
