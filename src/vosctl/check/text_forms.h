// Whether the texts of a configuration are what their readers take. Pure.
#pragma once

#include "config/keys.h"
#include "text/result.h"

#include <string>

namespace vosctl {

/// Whether `value` has the form that a known key asks for. A failure says what it
/// "is" or "has" instead, what follows, and the way out.
text::Outcome check_text(const std::string& value, config::TextForm form);

} // namespace vosctl
