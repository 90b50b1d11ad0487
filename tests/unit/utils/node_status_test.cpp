#include "utils/node_status.h"

#include <gtest/gtest.h>

using namespace nyx_utils;

TEST(NodeStatus, takes_of_a_record_only_what_it_knows)
{
    const NodeStatus well{1, 2, "HTTP status 500", "fresh", 3, 12, 4, "why"};
    const auto one = [&well](const char* member) {
        return parse_node_status(std::string("{") + member + "}").value_or(well);
    };
    EXPECT_EQ(parse_node_status(to_variant(well).dump()), well);
    for (const char* member : {"", R"("x":{})", R"("last_accepted":-1)", R"("last_accepted":1e300)",
                               R"("name_servers":4294967296)", R"("certificate_end":253402300800)",
                               R"("last_accepted":18446744073709551615)", R"("resolver":7)"})
        EXPECT_EQ(one(member), NodeStatus{}) << member;
    EXPECT_EQ(one(R"("resolver":"a\u001b\n")").resolver, "a??");
    for (const auto& text :
         {std::string(), std::string("[]"), std::string("{"), std::string("\xff"),
          std::string(2000, '['), "{\"x\":\"" + std::string(2048, 'y') + "\"}"})
        EXPECT_EQ(parse_node_status(text), std::nullopt) << text;
}
