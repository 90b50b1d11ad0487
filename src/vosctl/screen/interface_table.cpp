#include "vosctl/screen/interface_table.h"

#include "text/quantities.h"
#include "vosctl/screen/document_values.h"

#include <cmath>

namespace vosctl {

namespace {

using libvariant::Variant;

constexpr std::size_t rate_width = number_width + 2;

std::string heading(std::size_t shown, std::size_t all, const ScreenStyle& style)
{
    constexpr std::size_t column = 2 * rate_width + 2 + small_bar_cells + 2;
    return ScreenLine(style)
        .left(table_heading("interface", shown, all), name_width, Colour::bold)
        .left("  received", column, Colour::bold)
        .text("  sent", Colour::bold)
        .str();
}

/// The bar is logarithmic, a cell for each power of ten from 100 B/s on: what
/// trickles shows beside what floods.
void add_rate(ScreenLine& line, double bytes, double packets)
{
    const double decades = bytes > 0 ? std::log10(bytes) - 2 : 0;
    line.right(text::short_number(bytes, "B/s"), rate_width)
        .right(text::short_number(packets, "p/s"), rate_width)
        .text("  ")
        .bar(decades / small_bar_cells, small_bar_cells, Colour::green)
        .text("  ");
}

std::string row(const Variant& interface, const ScreenStyle& style)
{
    const auto& rates = member(interface, "rates");
    ScreenLine line(style);
    line.left(string_at(interface, "interface_name"), name_width);
    add_rate(line, number_at(rates, "rx_bps"), number_at(rates, "rx_pps"));
    add_rate(line, number_at(rates, "tx_bps"), number_at(rates, "tx_pps"));
    return line.str();
}

} // namespace

Lines interface_table(const Variant& interfaces, std::size_t rows, const ScreenStyle& style)
{
    Lines lines{"", heading(rows, interfaces.size(), style)};
    for (const auto& interface : interfaces) {
        if (rows-- == 0)
            break;
        lines.push_back(row(interface, style));
    }
    return lines;
}

} // namespace vosctl
