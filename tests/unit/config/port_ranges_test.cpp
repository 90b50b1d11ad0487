#include "config/port_ranges.h"

#include <gtest/gtest.h>

using namespace nyx;

TEST(PortRanges, are_parsed_and_joined)
{
    const std::pair<std::vector<const char*>, const char*> cases[] = {
        {{"80", "8000 - 8010", "79"}, "79-80 8000-8010 "},
        {{"1-9", "3:4", "11", "5-10"}, "1-11 "},
        {{"65535", "0", "65534-65535"}, "0 65534-65535 "},
        {{"", "-", "80-", "-80", "9-8", "65536", "1-2-3", "+1", "0x10", "4 5"}, ""},
    };
    for (const auto& [given, want] : cases) {
        std::vector<PortRange> ranges;
        for (const auto* text : given)
            if (const auto range = parse_port_range(text))
                ranges.push_back(*range);
        std::string joined;
        for (const auto& range : join_port_ranges(ranges))
            joined += port_range_text(range) + ' ';
        EXPECT_EQ(joined, want);
    }
}
