#include "vosctl/screen/process_table.h"

#include "text/quantities.h"

#include <algorithm>

namespace vosctl {

namespace {

/// A figure with its bar, and the two blanks between them.
constexpr std::size_t column = number_width + 2 + small_bar_cells;

std::string heading(std::size_t shown, std::size_t all, const ScreenStyle& style)
{
    return ScreenLine(style)
        .left(table_heading("process", shown, all), name_width, Colour::bold)
        .left("   cpu %, a core", column, Colour::bold)
        .left("   ram %", column, Colour::bold)
        .left("    fd %, its limit", column + 2, Colour::bold)
        .str();
}

std::string row(const std::string& name, const ProcessShare& process, Colour colour,
                const ScreenStyle& style)
{
    ScreenLine line(style);
    line.left(name, name_width, colour);
    for (const double percent : {process.cpu, process.ram, process.fd})
        line.right(text::decimal(percent), number_width)
            .text("  ")
            .bar(percent / 100, small_bar_cells, load_colour(percent));
    return line.str();
}

/// What is free: no bars, as a long one would look like load.
std::string idle_row(const ProcessShare& idle, const ScreenStyle& style)
{
    return ScreenLine(style)
        .left("free, machine", name_width, Colour::dim)
        .right(text::decimal(idle.cpu), number_width)
        .right(text::decimal(idle.ram), column)
        .right(text::decimal(idle.fd), column)
        .str();
}

} // namespace

Lines process_table(const ProcessShares& shares, std::size_t rows, const ScreenStyle& style)
{
    constexpr std::size_t least_rows_with_rest = 5;
    const auto all = shares.monitored.size();
    // With little room the monitored ones go before the rest of the machine.
    const auto rest_rows = rows < least_rows_with_rest ? 0 : shares.rest_size();
    const auto shown = std::min(all, rows - rest_rows);
    Lines lines{"", heading(shown, all, style)};
    for (std::size_t at = 0; at < shown; ++at)
        lines.push_back(row(shares.monitored[at].name, shares.monitored[at], Colour::plain, style));
    if (rows - shown < shares.rest_size())
        return lines;
    if (shares.other)
        lines.push_back(row("others, machine", *shares.other, Colour::dim, style));
    if (shares.idle)
        lines.push_back(idle_row(*shares.idle, style));
    return lines;
}

} // namespace vosctl
