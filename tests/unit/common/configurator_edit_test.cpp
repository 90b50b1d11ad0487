#include "common/config_list_iterator.h"
#include "support/captured_log.h"

#include <gtest/gtest.h>

using namespace nyx;
using libconfig::Setting;

namespace {

class ConfigEdit : public testing::Test {
protected:
    AConfigurator m_conf{"", false};

    ConfigEdit()
    {
        m_conf.config.readString("g = { l = (1, (2), {}); x = 1; }; ints = [1, 2]; bigs = [5L];"
                                 "none = []; l = (); a-b = { c = 1; d = 2; }; s = 1;");
    }
    std::string tree()
    {
        std::vector<std::string> keys;
        m_conf.list_all_keys(keys);
        std::string all;
        for (const auto& key : keys)
            all += key + ' ';
        return all;
    }
};

bool add_one_of_each_type(AConfigurator& conf, const std::string& list)
{
    return conf.add_list_element(list, 1) && conf.add_list_element(list, 5000000000L) &&
           conf.add_list_element(list, true) && conf.add_list_element(list, "c") &&
           conf.add_list_element(list, std::string("t")) && conf.add_list_element(list, 2.5F) &&
           conf.add_list_element_group(list) && conf.add_list_element_list(list) &&
           conf.add_list_element_array(list);
}

TEST_F(ConfigEdit, operations_tell_and_do)
{
    using Edit = bool (*)(AConfigurator&, const std::string&);
    // What is done, whether it is, and the sizes of a list and of an array afterwards.
    const std::tuple<const char*, Edit, bool, int, int> cases[] = {
        {"", [](auto& c, auto& p) { return c.has_list_key(p); }, false, -1, -1},
        {"", [](auto& c, auto& p) { return c.add_list_key(p); }, false, -1, -1},
        {"g.l", [](auto& c, auto& p) { return c.has_list_key(p); }, true, 3, -1},
        {"g.l", [](auto& c, auto& p) { return c.add_array_key(p); }, false, 3, -1},
        {"g.l", [](auto& c, auto& p) { return c.del_array_key(p); }, true, 3, -1},
        {"g.l", [](auto& c, auto& p) { return c.clear_array_key(p); }, false, 3, -1},
        {"g:l", [](auto& c, auto& p) { return c.clear_list_key(p); }, false, 3, -1},
        {"g.l.[1]", [](auto& c, auto& p) { return c.clear_list_key(p); }, true, 0, -1},
        {"g.l.[2].in.ner", [](auto& c, auto& p) { return c.add_list_key(p); }, true, 0, -1},
        {"new.q-r.l", [](auto& c, auto& p) { return c.add_list_key(p); }, true, 0, -1},
        {"new.a", [](auto& c, auto& p) { return c.clear_array_key(p); }, true, -1, 0},
        {"made.5bad", [](auto& c, auto& p) { return c.add_list_key(p); }, false, -1, -1},
        {"made", [](auto& c, auto& p) { return c.find_setting(p) != nullptr; }, false, -1, -1},
        {"l", add_one_of_each_type, true, 9, -1},
        {"ints", [](auto& c, auto& p) { return c.add_list_element_group(p); }, false, -1, 2},
        {"ints", [](auto& c, auto& p) { return c.add_list_element(p, 3); }, false, -1, 2},
        {"ints", [](auto& c, auto& p) { return c.add_array_element(p, 3); }, true, -1, 3},
        {"ints", [](auto& c, auto& p) { return c.add_array_element(p, "x"); }, false, -1, 3},
        {"ints", [](auto& c, auto& p) { return c.add_array_element(p, 3L); }, false, -1, 3},
        {"bigs", [](auto& c, auto& p) { return c.add_array_element(p, 6L); }, true, -1, 2},
        {"none", [](auto& c, auto& p) { return c.add_array_element(p, 6L); }, true, -1, 1},
        {"none", [](auto& c, auto& p) { return c.add_array_element(p, 2.5F); }, false, -1, 1},
        {"bigs", [](auto& c, auto& p) { return c.del_array_key(p); }, true, -1, -1},
        {"g.l", [](auto& c, auto& p) { return c.del_list_key(p); }, true, -1, -1},
        {"g.none", [](auto& c, auto& p) { return c.add_array_element(p, 1); }, false, -1, -1},
    };
    int row = 0;
    for (const auto& [path, edit, done, list, array] : cases) {
        EXPECT_EQ(edit(m_conf, path), done) << row;
        EXPECT_EQ(m_conf.get_list_size(path), list) << row;
        EXPECT_EQ(m_conf.get_array_size(path), array) << row++;
    }
    EXPECT_EQ(tree(), "g.x=1 ints.[0]=1 ints.[1]=2 ints.[2]=3 none.[0]=6 l.[0]=1 l.[1]=5000000000 "
                      "l.[2]=true l.[3]=c l.[4]=t l.[5]=2.5 a-b.c=1 a-b.d=2 s=1 ");
}

TEST_F(ConfigEdit, removes_one_value)
{
    CapturedLog log;
    for (const auto* path : {"a-b.c", "g.l.[0]", "ints.[1]", "s"})
        EXPECT_TRUE(m_conf.del_value(path)) << path;
    for (const auto* path : {"", "a-b.e", "ints.[1]"}) {
        EXPECT_FALSE(m_conf.del_value(path)) << path;
        EXPECT_TRUE(log.contains(std::string("Failed removing configuration parameter ") + path));
    }
    EXPECT_EQ(tree(), "g.l.[0].[0]=2 g.x=1 ints.[0]=1 bigs.[0]=5 a-b.d=2 ");
}

TEST_F(ConfigEdit, iterator_walks_a_list)
{
    std::string walked;
    ConfigListIterator at(&m_conf, "g.l");
    for (; at.index() >= 0 && at.size() == 3; ++at)
        walked += *at + '=' + std::to_string(at.type()) + ' ';
    EXPECT_EQ(walked, "g.l.[0]=1 g.l.[1]=8 g.l.[2]=6 ");
    EXPECT_EQ((++at).index(), -1);
    EXPECT_EQ(*at, "");
    at.init();
    m_conf.clear_list_key("g.l");
    EXPECT_EQ(*at + std::to_string(at.type()), "0") << "the list went meanwhile";
    TheConfigurator::set_configurator(&m_conf);
    for (const auto& none : {ConfigListIterator("missing"), ConfigListIterator(std::string("l"))})
        EXPECT_EQ(*none + std::to_string(none.index()), "-1");
    TheConfigurator::set_configurator(nullptr);
    EXPECT_EQ(m_conf.get_array_element_key("ints", 1), "ints.[1]");
    EXPECT_EQ(m_conf.get_array_element_type("bigs", 0), int{Setting::TypeInt64});
    EXPECT_EQ(m_conf.get_array_element_key("ints", 2) + m_conf.get_array_element_key("ints", -1),
              "");
    EXPECT_EQ(m_conf.get_array_element_type("ints", 2) + m_conf.get_list_element_type("ints", 0),
              0);
}

} // namespace
