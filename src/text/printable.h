// Text from outside, made fit for a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace text {

/// `text` with every byte that is no printable ASCII character as "?", cut to
/// `longest` bytes: no name of a process or an interface can move a cursor or
/// forge a line. Pure.
inline std::string printable(std::string_view text, std::size_t longest = std::string_view::npos)
{
    std::string shown(text.substr(0, longest));
    for (auto& byte : shown)
        if (byte < ' ' || byte > '~')
            byte = '?';
    return shown;
}

} // namespace text
