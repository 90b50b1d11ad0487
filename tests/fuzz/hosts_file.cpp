// The daemon's own hosts file, the machine's, and its resolver configuration.
#include "fuzz/target.h"
#include "net/ns_manager.h"
#include "net/nyx_persistent_hosts.h"
#include "utils/nyx_helper.h"

#include <algorithm>

void fuzz_one(std::string_view input)
{
    const auto parsed = parse_persistent_hosts(input);
    REQUIRE(parsed.malformed_lines.size() <= parsed.malformed);
    // What was read can be written and read again; but a name that begins like
    // a comment, which only a line with blanks before it can give, can not.
    const bool plain = std::none_of(parsed.table.begin(), parsed.table.end(),
                                    [](const auto& host) { return host.first.starts_with('#'); });
    const auto again = parse_persistent_hosts(format_persistent_hosts(parsed.table));
    REQUIRE(!plain || (again.table == parsed.table && again.malformed == 0));
    const std::string text(input);
    const auto addresses = nyx::parse_static_hosts(text, "localhost");
    REQUIRE(addresses.size() <= text.size() / 8);
    nyx::names_a_server(input);
}
