#include "vosctl/screen/top_screen.h"

#include "text/quantities.h"
#include "vosctl/screen/node_status_text.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>

namespace vosctl {

namespace {

using libvariant::Variant;
using Lines = std::vector<std::string>;

constexpr std::size_t label_width = 9;
constexpr std::size_t bar_cells = 20;
constexpr std::size_t small_bar_cells = 8;
constexpr std::size_t name_width = 16;
constexpr std::size_t number_width = 8;
constexpr std::size_t least_rows_with_rest = 5;
constexpr double bytes_per_kb = 1024; // as the kernel counts
constexpr double unknown = std::numeric_limits<double>::quiet_NaN();

/// A member of `tree`; null when there is none.
const Variant& member(const Variant& tree, const char* key)
{
    static const Variant none;
    const auto found = tree.is_object() ? tree.find(key) : tree.end();
    return found == tree.end() ? none : *found;
}

double number(const Variant& tree, const char* key)
{
    const auto& value = member(tree, key);
    return value.is_number() ? value.get<double>() : unknown;
}

std::string text(const Variant& tree, const char* key)
{
    const auto& value = member(tree, key);
    return value.is_string() ? value.get<std::string>() : "-";
}

std::string percent(double value)
{
    return text::decimal(value) + " %";
}

std::string whole(const Variant& tree, const char* key)
{
    const auto& value = member(tree, key);
    return value.is_number_integer() ? value.dump() : "-";
}

std::string duration_of(double milliseconds)
{
    return std::isfinite(milliseconds) ? text::duration(std::llround(milliseconds / 1000)) : "-";
}

struct Process {
    std::string name;
    double cpu; ///< percent of one core
    double ram; ///< percent of the machine
    double fd;  ///< percent of its own limit
};

/// The document's processes, and what it says of the rest of the machine.
struct Processes {
    std::vector<Process> monitored; ///< the busiest first
    std::optional<Process> other;   ///< all in percent of the machine
    std::optional<Process> idle;
};

Processes processes_of(const Variant& document)
{
    Processes all;
    for (const auto& entry : member(document, "processes_stats")) {
        Process process{text(entry, "process_name"), number(entry, "cpu"), number(entry, "ram"),
                        number(entry, "fd")};
        if (process.name == "other") {
            all.other = process;
        } else if (process.name == "idle") {
            all.idle = process;
        } else {
            process.fd *= 100;
            all.monitored.push_back(process);
        }
    }
    // One whose CPU is not known (no number compares with it) goes last.
    const auto rank = [](const Process& process) {
        return std::isnan(process.cpu) ? -1.0 : process.cpu;
    };
    std::stable_sort(all.monitored.begin(), all.monitored.end(),
                     [&](const auto& a, const auto& b) { return rank(a) > rank(b); });
    return all;
}

class Screen {
public:
    Screen(const Variant& document, const Variant& status, std::time_t now,
           const ScreenStyle& style)
        : m_document(document), m_status(status), m_now(now), m_style(style),
          m_processes(processes_of(document))
    {
    }

    Lines render()
    {
        title();
        machine();
        daemon();
        tables();
        if (m_style.height != 0 && m_lines.size() > m_style.height)
            m_lines.resize(m_style.height);
        return std::move(m_lines);
    }

private:
    ScreenLine line() const { return ScreenLine(m_style); }
    void add(const ScreenLine& line) { m_lines.push_back(line.str()); }
    void gauge(const char* label, double percent_used, const std::string& more);
    void title();
    void machine();
    void daemon();
    void report_fate();
    void tables();
    void process_table(std::size_t rows);
    void process_row(const Process& process, Colour colour);
    void interface_table(std::size_t rows);
    void rate(ScreenLine& row, double bytes, double packets) const;
    std::size_t other_rows() const
    {
        return (m_processes.other ? 1U : 0U) + (m_processes.idle ? 1U : 0U);
    }

    const Variant& m_document;
    const Variant& m_status;
    std::time_t m_now;
    const ScreenStyle& m_style;
    Processes m_processes;
    Lines m_lines;
};

void Screen::title()
{
    const auto& machine = member(m_document, "machine-info");
    add(line()
            .text(text(machine, "id"), Colour::bold)
            .text("  " + text(machine, "ip_address") + "  " + text(m_document, "datacenter_id") +
                  "  ")
            .text(text(m_document, "timestamp"), Colour::dim));
}

void Screen::gauge(const char* label, double percent_used, const std::string& more)
{
    add(line()
            .left(label, label_width, Colour::bold)
            .right(percent(percent_used), number_width)
            .text("  ")
            .bar(percent_used / 100, bar_cells, load_colour(percent_used))
            .text("  " + more));
}

void Screen::machine()
{
    const auto& cpu = member(member(m_document, "machine-info"), "cpu");
    const auto& ram = member(member(m_document, "machine-info"), "ram");
    const auto& stats = member(cpu, "cpu-stats");
    const bool sampled = number(stats, "num-of-samples") > 0;
    gauge("cpu", number(cpu, "total"),
          "steal " + (sampled ? percent(number(stats, "steal-average-pct")) : "-") + ", " +
              whole(cpu, "num-of-cores") + " cores");
    const double used = number(ram, "used");
    const double total = number(ram, "total");
    gauge("ram", 100 * used / total,
          text::short_number(used * bytes_per_kb, "B") + " of " +
              text::short_number(total * bytes_per_kb, "B"));
    gauge("files", m_processes.idle ? 100 - m_processes.idle->fd : unknown,
          "fullest process " +
              percent(100 * number(member(m_document, "processes"), "fd_max_ratio")) +
              " of its limit");
}

void Screen::daemon()
{
    if (!m_status.is_object()) {
        add(line().left("daemon", label_width, Colour::bold).text("no supervisor", Colour::yellow));
        return;
    }
    const auto flag = [this](const char* key) { return member(m_status, key) == Variant(true); };
    const double age = number(m_status, "heartbeat_age_ms");
    const bool well = flag("running") && age <= number(m_status, "heartbeat_timeout_ms");
    auto row = line();
    row.left("daemon", label_width, Colour::bold)
        .text(!flag("running") ? "down"
              : well           ? "well"
                               : "not well",
              well ? Colour::green : Colour::red);
    if (flag("running"))
        row.text(", pid " + whole(m_status, "pid") + ", up " +
                 duration_of(number(m_status, "uptime_ms")) + ", heartbeat " +
                 text::decimal(age / 1000) + " s ago");
    add(row.text(", restarts " + whole(m_status, "restarts") +
                 (flag("control_link") ? "" : ", no control link")));
    report_fate();
}

void Screen::report_fate()
{
    const auto node = nyx_utils::node_status_of(member(m_status, "node"));
    auto row = line();
    row.left("report", label_width, Colour::bold);
    if (!node) {
        add(row.text("-"));
        return;
    }
    if (node->failures_in_a_row > 0)
        row.text("failed, " + failures_text(*node), Colour::red)
            .text(", last accepted " + accepted_text(*node, m_now));
    else
        row.text("accepted " + accepted_text(*node, m_now),
                 node->last_accepted ? Colour::green : Colour::plain);
    add(row);
    const auto certificate = certificate_days_left(*node, m_now);
    const bool ends = !certificate.is_number() || certificate.get<std::int64_t>() < 14;
    add(line()
            .left("resolver", label_width, Colour::bold)
            .text(resolver_text(*node) + ", longest stall " +
                  std::to_string(node->longest_stall_ms) + " ms, certificate ")
            .text(certificate_text(*node, m_now), ends ? Colour::yellow : Colour::plain));
}

/// Shares what is left of the height: a third goes to the interfaces, and what
/// the processes do not need of the rest.
void Screen::tables()
{
    constexpr std::size_t headings = 4; // two, and an empty line before each
    const auto processes = m_processes.monitored.size() + other_rows();
    const auto interfaces = member(m_document, "interfaces").size();
    const auto taken = m_lines.size() + headings;
    const auto room = m_style.height == 0 ? processes + interfaces
                                          : m_style.height - std::min(m_style.height, taken);
    const auto least = std::min(interfaces, std::max(room / 3, room > 1 ? 1UL : 0UL));
    const auto process_rows = std::min(processes, room - least);
    process_table(process_rows);
    interface_table(std::min(interfaces, room - process_rows));
}

std::string heading(const char* name, std::size_t shown, std::size_t all)
{
    return shown < all ? std::string(name) + " " + std::to_string(shown) + "/" + std::to_string(all)
                       : name;
}

void Screen::process_row(const Process& process, Colour colour)
{
    add(line()
            .left(process.name, name_width, colour)
            .right(text::decimal(process.cpu), number_width)
            .text("  ")
            .bar(process.cpu / 100, small_bar_cells, load_colour(process.cpu))
            .right(text::decimal(process.ram), number_width)
            .text("  ")
            .bar(process.ram / 100, small_bar_cells, load_colour(process.ram))
            .right(text::decimal(process.fd), number_width)
            .text("  ")
            .bar(process.fd / 100, small_bar_cells, load_colour(process.fd)));
}

void Screen::process_table(std::size_t rows)
{
    const auto all = m_processes.monitored.size();
    // With little room the monitored ones go before the rest of the machine.
    const auto rest_rows = rows < least_rows_with_rest ? 0 : other_rows();
    const auto shown = std::min(all, rows - rest_rows);
    constexpr std::size_t column = number_width + 2 + small_bar_cells;
    m_lines.emplace_back();
    add(line()
            .left(heading("process", shown, all), name_width, Colour::bold)
            .left("   cpu %, a core", column, Colour::bold)
            .left("   ram %", column, Colour::bold)
            .left("    fd %, its limit", column + 2, Colour::bold));
    for (std::size_t at = 0; at < shown; ++at)
        process_row(m_processes.monitored[at], Colour::plain);
    if (m_processes.other && rows - shown >= other_rows()) {
        auto rest = *m_processes.other;
        rest.name = "others, machine";
        process_row(rest, Colour::dim);
    }
    if (m_processes.idle && rows - shown >= other_rows()) {
        auto rest = *m_processes.idle;
        add(line()
                .left("free, machine", name_width, Colour::dim)
                .right(text::decimal(rest.cpu), number_width)
                .right(text::decimal(rest.ram), column)
                .right(text::decimal(rest.fd), column));
    }
}

/// The bar is logarithmic, a cell for each power of ten from 100 B/s on: what
/// trickles shows beside what floods.
void Screen::rate(ScreenLine& row, double bytes, double packets) const
{
    const double decades = bytes > 0 ? std::log10(bytes) - 2 : 0;
    row.right(text::short_number(bytes, "B/s"), number_width + 2)
        .right(text::short_number(packets, "p/s"), number_width + 2)
        .text("  ")
        .bar(decades / small_bar_cells, small_bar_cells, Colour::green)
        .text("  ");
}

void Screen::interface_table(std::size_t rows)
{
    const auto& interfaces = member(m_document, "interfaces");
    constexpr std::size_t column = 2 * (number_width + 2) + 2 + small_bar_cells + 2;
    m_lines.emplace_back();
    add(line()
            .left(heading("interface", rows, interfaces.size()), name_width, Colour::bold)
            .left("  received", column, Colour::bold)
            .text("  sent", Colour::bold));
    for (const auto& interface : interfaces) {
        if (rows-- == 0)
            break;
        const auto& rates = member(interface, "rates");
        auto row = line();
        row.left(text(interface, "interface_name"), name_width);
        rate(row, number(rates, "rx_bps"), number(rates, "rx_pps"));
        rate(row, number(rates, "tx_bps"), number(rates, "tx_pps"));
        add(row);
    }
}

} // namespace

Lines render_top(const Variant& document, const Variant& status, std::time_t now,
                 const ScreenStyle& style)
{
    return Screen(document, status, now, style).render();
}

} // namespace vosctl
