#include "vosctl/screen/node_status_text.h"
#include "vosctl/screen/top_screen.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <regex>

using namespace vosctl;
using libvariant::Variant;
using nyx_utils::NodeStatus;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr std::time_t now = 1'800'000'000;

Variant document(std::size_t processes)
{
    auto tree =
        Variant::parse(R"({"timestamp":"T","datacenter_id":"dc","machine-info":{"id":"n\u001b[2J",
        "cpu":{"total":75,"num-of-cores":2,"cpu-stats":{"num-of-samples":1,"steal-average-pct":2.5}},
        "ram":{"total":1000000,"used":950000}},"processes":{"fd_max_ratio":0.5},
        "processes_stats":[{"process_name":"other","cpu":1,"ram":2,"fd":3},
                           {"process_name":"idle","cpu":4,"ram":5,"fd":60}],
        "interfaces":[{"interface_name":"e\r\u009b1\n","rates":{"rx_bps":1000000,"rx_pps":7,"tx_bps":0}}]})");
    for (std::size_t at = 0; at < processes; ++at)
        tree["processes_stats"].push_back(
            {{"process_name", "p" + std::to_string(at)}, {"cpu", at}, {"ram", 1}, {"fd", 0.25}});
    return tree;
}

Variant status(const NodeStatus& node, int heartbeat_ms = 500)
{
    auto answer = Variant::parse(R"({"running":true,"pid":7,"uptime_ms":3720000,"restarts":1,
                                     "heartbeat_timeout_ms":10000,"control_link":true})");
    answer["heartbeat_age_ms"] = heartbeat_ms;
    answer["node"] = to_variant(node);
    return answer;
}

const NodeStatus well{now - 3, 0, "", "fresh", 3, 12, now + 29 * 86400 + 5, ""};
const NodeStatus ill{{},  2,  "HTTP status 500\x1b[2J", "failing", 2,
                     900, {}, "it holds no certificate"};

/// Checks what holds for every screen, and for its lines as one text.
void expect_screen(const char* name, const Variant& report, const Variant& answer,
                   const ScreenStyle& style, const std::vector<std::string>& shown,
                   const std::vector<std::string>& hidden = {})
{
    SCOPED_TRACE(name);
    const auto lines = render_top(report, answer, now, style);
    EXPECT_TRUE(style.height == 0 || lines.size() <= style.height);
    std::string text;
    for (const auto& line : lines) {
        const auto plain = std::regex_replace(line, std::regex("\x1b\\[[0-9]m|\x1b\\[3[0-9]m"), "");
        const auto columns =
            std::ranges::count_if(plain, [](int byte) { return (byte & 0xc0) != 0x80; });
        EXPECT_LE(columns, style.width) << line;
        EXPECT_EQ(plain.find_first_of("\x1b\r\n\x7f"), std::string::npos) << line;
        EXPECT_TRUE(style.colour || plain == line) << line;
        text += line + "\n";
    }
    for (const auto& part : shown)
        EXPECT_THAT(text, HasSubstr(part));
    for (const auto& part : hidden)
        EXPECT_THAT(text, Not(HasSubstr(part)));
}

} // namespace

TEST(Top, shows_what_there_is_at_every_size)
{
    const ScreenStyle plain{200, 0, false, false};
    expect_screen("all", document(3), status(well), plain,
                  {"n?[2J", "cpu        75.0 %  ###############.....  steal 2.5 %, 2 cores",
                   "ram        95.0 %", "973 MB of 1.0 GB", "files      40.0 %",
                   "process 50.0 % of its limit", "well, pid 7, up 1 h 2 min",
                   "accepted 3 s ago, 2027-01-15T07:59:57Z",
                   "resolver fresh, name servers 3, longest stall 12 ms",
                   "certificate 29 days left", "25.0  ##......\np1 ", "others, machine", "e???1?",
                   "1.0 MB/s     7 p/s  ####....       0 B/s         -  ...", "restarts 1\n"},
                  {"failed", "\xe2"});
    expect_screen("blocks", document(0), status(well), {100, 0, false, true},
                  {"\u2588\u2588\u2588 ", "\u258f"}, {"#"});
    expect_screen("ill", document(1), status(ill), {120, 0, true, false},
                  {"\x1b[31mfailed, 2 in a row: HTTP status 500?[2J\x1b[0m, last accepted none yet",
                   "unreadable: it holds no certificate", "\x1b[31m####"});
    expect_screen("hung", document(1), status(well, 10001), plain, {"not well"});
    expect_screen("old daemon", document(1), {{"running", true}, {"node", nullptr}}, plain,
                  {"report   -\n"});
    expect_screen("alone", document(1), nullptr, plain, {"no supervisor"}, {"report"});
    expect_screen("nothing", nullptr, nullptr, plain, {"cpu           - %", "steal -"});
    expect_screen(
        "wrong types", Variant::parse(R"({"machine-info":[1],"processes_stats":{"a":{"cpu":"x"}},
                                     "interfaces":7})"),
        Variant::parse(R"({"running":1,"node":[],"uptime_ms":"x"})"), plain, {"down", "interface"});
    expect_screen("many", document(40), status(well), {80, 24, true, true},
                  {"process 10/40", "p39", "others, machine"}, {"p29"});
    expect_screen("short", document(40), status(well), {80, 14, false, true},
                  {"process 2/40", "p39", "e???1?"}, {"others"});
    expect_screen("tiny", document(3), status(well), {9, 2, true, true}, {"cpu"}, {"ram"});
    expect_screen("none", document(3), status(well), {0, 1, true, true}, {"\n"}, {"n"});
}

TEST(Top, knows_an_expired_certificate)
{
    auto ended = well;
    ended.certificate_end = now - 1;
    EXPECT_EQ(certificate_text(ended, now), "expired 1 s ago");
    EXPECT_EQ(certificate_days_left(ended, now), -1);
}
