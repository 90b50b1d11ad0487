#include "vosctl/screen/machine_lines.h"

#include "text/quantities.h"
#include "vosctl/screen/document_values.h"

namespace vosctl {

namespace {

using libvariant::Variant;

std::string percent(double value)
{
    return text::decimal(value) + " %";
}

std::string title(const Variant& document, const ScreenStyle& style)
{
    const auto& machine = member(document, "machine-info");
    return ScreenLine(style)
        .text(string_at(machine, "id"), Colour::bold)
        .text("  " + string_at(machine, "ip_address") + "  " +
              string_at(document, "datacenter_id") + "  ")
        .text(string_at(document, "timestamp"), Colour::dim)
        .str();
}

std::string gauge(const char* label, double percent_used, const std::string& more,
                  const ScreenStyle& style)
{
    constexpr std::size_t cells = 20;
    return labelled(label, style)
        .right(percent(percent_used), number_width)
        .text("  ")
        .bar(percent_used / 100, cells, load_colour(percent_used))
        .text("  " + more)
        .str();
}

std::string cpu_gauge(const Variant& cpu, const ScreenStyle& style)
{
    const auto& stats = member(cpu, "cpu-stats");
    const bool sampled = number_at(stats, "num-of-samples") > 0;
    const auto steal = sampled ? percent(number_at(stats, "steal-average-pct")) : "-";
    return gauge("cpu", number_at(cpu, "total"),
                 "steal " + steal + ", " + integer_at(cpu, "num-of-cores") + " cores", style);
}

std::string ram_gauge(const Variant& ram, const ScreenStyle& style)
{
    constexpr double bytes_per_kb = 1024; // as the kernel counts
    const double used = number_at(ram, "used");
    const double total = number_at(ram, "total");
    return gauge("ram", 100 * used / total,
                 text::short_number(used * bytes_per_kb, "B") + " of " +
                     text::short_number(total * bytes_per_kb, "B"),
                 style);
}

std::string files_gauge(const Variant& document, const ProcessShares& shares,
                        const ScreenStyle& style)
{
    const double fullest = 100 * number_at(member(document, "processes"), "fd_max_ratio");
    return gauge("files", shares.idle ? 100 - shares.idle->fd : unknown,
                 "fullest process " + percent(fullest) + " of its limit", style);
}

} // namespace

Lines machine_lines(const Variant& document, const ProcessShares& shares, const ScreenStyle& style)
{
    const auto& machine = member(document, "machine-info");
    return {title(document, style), cpu_gauge(member(machine, "cpu"), style),
            ram_gauge(member(machine, "ram"), style), files_gauge(document, shares, style)};
}

} // namespace vosctl
