#include "common/nyx_configurator.h"
#include "support/captured_log.h"

#include <gtest/gtest.h>

using namespace nyx;

namespace {

class ConfigText : public testing::Test {
protected:
    AConfigurator m_conf{"", false};
    CapturedLog m_log;

    ConfigText()
    {
        m_conf.config.readString(R"(
            a = { b = 5; big = 5000000000L; low = -9223372036854775808L; };
            f = 0.1; third = 0.33333333; huge = 1e39; yes = true; quote = "a\"b";
            g = { x = "y"; };
            n-x = { empty = {}; odd = [ 1, 2 ]; in = { no = false; }; };
            l = ( 1, ( 2.5, "t" ), { k = 16777217.0; }, [] );)");
    }
};

TEST_F(ConfigText, forms_of_a_setting)
{
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"a.b", "b = 5;\n", ""},
        {"a", "a :\n{\n  b = 5;\n  big = 5000000000;\n  low = -9223372036854775808;\n};\n", ""},
        {"third", "third = 0.333333;\n", ""},
        {"huge", "huge = 1e+39;\n", ""},
        {"yes", "yes = true;\n", ""},
        {"quote", "quote = \"a\"b\";\n", ""},
        {"g", "g :\n{\n  x = \"y\";\n};\n", ""},
        {"n-x", "n-x :\n{\n  empty :\n  {\n  };\n  odd =   in :\n  {\n    no = false;\n  };\n};\n",
         "Unsupported configuration parameter type: 7\n"},
        {"l.[1].[0]", " = 2.5;\n", ""},
        {"l.[2]", " :\n{\n  k = 1.67772e+07;\n};\n", ""},
        {"l", "l = ", "Unsupported configuration parameter type: 8\n"},
        {"g.y", "before", "Couldn't find a parameter: g.y\n"},
    };
    for (const auto& [path, text, record] : cases) {
        std::string out = "before";
        const bool fails = text == "l = " || text == "before";
        EXPECT_EQ(m_conf.get_value_as_a_string(path, out), !fails) << path;
        EXPECT_EQ(out, text);
        EXPECT_TRUE(m_log.contains(record)) << path;
    }
    std::string root;
    EXPECT_TRUE(m_conf.get_value_as_a_string("", root));
    EXPECT_EQ(root.find("a :\n{\n  b = 5;\n"), 0U);
    EXPECT_TRUE(root.ends_with("  };\n};\nl = ")) << root;
    EXPECT_TRUE(AConfigurator::get_value_as_a_string(m_conf.config.lookup("g"), root, 2));
    EXPECT_EQ(root, "    g :\n    {\n      x = \"y\";\n    };\n");
    EXPECT_FALSE(AConfigurator::group_to_string(m_conf.config.lookup("f"), root, -1));
    EXPECT_EQ(AConfigurator::level_spaces(-1), "");
}

TEST_F(ConfigText, keys_with_their_paths)
{
    std::vector<std::string> keys{"old"};
    EXPECT_EQ(m_conf.list_all_keys(keys), 16U);
    std::string all;
    for (const auto& key : keys)
        all += key + ' ';
    EXPECT_EQ(all, "a.b=5 a.big=5000000000 a.low=-9223372036854775808 f=0.1 third=0.333333 "
                   "huge=inf yes=true quote=a\"b g.x=y n-x.odd.[0]=1 n-x.odd.[1]=2 "
                   "n-x.in.no=false l.[0]=1 l.[1].[0]=2.5 l.[1].[1]=t l.[2].k=1.67772e+07 ");
}

} // namespace
