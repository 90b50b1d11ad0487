#include "vosctl/screen/layout.h"

namespace vosctl {

ScreenLine labelled(const char* label, const ScreenStyle& style)
{
    constexpr std::size_t label_width = 9;
    return ScreenLine(style).left(label, label_width, Colour::bold);
}

std::string table_heading(const char* name, std::size_t shown, std::size_t all)
{
    if (shown >= all)
        return name;
    return std::string(name) + " " + std::to_string(shown) + "/" + std::to_string(all);
}

} // namespace vosctl
