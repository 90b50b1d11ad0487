#include "vosctl/screen/top_screen.h"

#include "vosctl/screen/daemon_lines.h"
#include "vosctl/screen/document_values.h"
#include "vosctl/screen/interface_table.h"
#include "vosctl/screen/machine_lines.h"
#include "vosctl/screen/process_table.h"

#include <algorithm>
#include <iterator>

namespace vosctl {

namespace {

using libvariant::Variant;

void append(Lines& all, Lines&& more)
{
    std::ranges::move(more, std::back_inserter(all));
}

/// Rows of the two tables.
struct Rows {
    std::size_t processes;
    std::size_t interfaces;
};

/// Shares what `taken` lines leave of the height: a third goes to the
/// interfaces, and what the processes do not need of the rest.
Rows share_height(std::size_t height, std::size_t taken, const Rows& wanted)
{
    if (height == 0)
        return wanted;
    const auto room = height - std::min(height, taken);
    const auto least = std::min(wanted.interfaces, std::max(room / 3, room > 1 ? 1UL : 0UL));
    const auto processes = std::min(wanted.processes, room - least);
    return {processes, std::min(wanted.interfaces, room - processes)};
}

} // namespace

Lines render_top(const Variant& document, const Variant& status, std::time_t now,
                 const ScreenStyle& style)
{
    constexpr std::size_t headings = 4; // two, and an empty line before each
    const auto shares = process_shares_of(document);
    const auto& interfaces = member(document, "interfaces");
    auto lines = machine_lines(document, shares, style);
    append(lines, daemon_lines(status, now, style));
    const auto rows =
        share_height(style.height, lines.size() + headings,
                     {shares.monitored.size() + shares.rest_size(), interfaces.size()});
    append(lines, process_table(shares, rows.processes, style));
    append(lines, interface_table(interfaces, rows.interfaces, style));
    if (style.height != 0 && lines.size() > style.height)
        lines.resize(style.height);
    return lines;
}

} // namespace vosctl
