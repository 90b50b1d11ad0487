#include "common/nyx_configurator.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

using namespace nyx;

namespace {

class SmartMerge : public testing::TestWithParam<const char*> {
protected:
    TempFolder m_folder;
    CapturedLog m_log;
    MergeReport m_report;
    std::string m_output = m_folder.file("output");

    bool merge(const std::string& from_template, const std::string& current)
    {
        return TheConfigurator::smart_merge(from_template, current, m_output, &m_report);
    }
    static std::string normal(const std::string& path)
    {
        libconfig::Config config;
        config.readFile(path.c_str());
        return configuration_text(config);
    }
};

TEST_P(SmartMerge, gives_the_expected_file_and_no_more_a_second_time)
{
    const auto folder = std::string(VOS_FIXTURES "/merge/") + GetParam();
    const auto expected = normal(folder + "/expected.conf");
    EXPECT_TRUE(merge(folder + "/template.conf", folder + "/current.conf")) << m_report.failure;
    EXPECT_EQ(m_folder.read("output"), expected);
    EXPECT_TRUE(merge(folder + "/template.conf", folder + "/expected.conf"));
    EXPECT_EQ(m_folder.read("output"), expected);
    EXPECT_EQ(m_report.remarks.size(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Fixtures, SmartMerge,
                         testing::Values("type_changes", "groups", "sequences", "port_ranges",
                                         "rules_and_addresses"));

TEST_F(SmartMerge, refuses_what_it_can_not_read_or_would_replace)
{
    const auto good = m_folder.write("good", "a = true; n = [ 1 ];");
    const auto user = m_folder.write("user", "a = 1; n = [ \"x\" ];");
    m_folder.write("nul", std::string("a = 1;\0b = 2;", 13));
    m_folder.write("deep", "a = " + std::string(50000, '('));
    const std::pair<std::string, std::string> cases[] = {
        {"none", "No such file or directory"},
        {".", "not a regular file"},
        {m_folder.write("broken", "a = 1;\nb = ;"), "line 2: syntax error"},
        {m_folder.write("includes", "@include \"/tmp\"\n"), "line 1: @include is not followed"},
        {m_folder.file("nul"), "line 1: syntax error"},
        {m_folder.file("deep"), "line 1: memory exhausted"},
        {m_folder.write("long", std::string(300000, ' ')), "longer than 256 KiB"},
        {m_folder.write("cut", "a = 1;\nb = ( { c = 5000000000; } );"),
         "line 2: b.[].c: 5000000000 does not fit 32 bits"},
        {m_folder.write("infinite", "f = 1e999;"), "could not be read again"},
    };
    for (const auto& [path, reason] : cases) {
        EXPECT_FALSE(merge(good, path));
        EXPECT_NE(m_report.failure.find(reason), std::string::npos) << m_report.failure;
        EXPECT_FALSE(std::filesystem::exists(m_output)) << path;
    }
    EXPECT_TRUE(m_log.contains("Failed to open configuration file [none]\n"));
    EXPECT_TRUE(m_log.contains("Failed to write configuration file [" + m_output + "]\n"));
    for (const auto& output : {good, user, m_folder.path(), m_folder.file("broken")})
        EXPECT_FALSE(TheConfigurator::smart_merge(good, user, output)) << output;
    EXPECT_EQ(m_folder.read("user"), "a = 1; n = [ \"x\" ];");
    std::filesystem::permissions(user, std::filesystem::perms(0660));
    EXPECT_TRUE(merge(good, user));
    EXPECT_EQ(std::filesystem::status(m_output).permissions(), std::filesystem::perms(0660));
    EXPECT_EQ(m_report.remarks,
              (std::vector<std::string>{
                  "a: an integer does not fit; the template has a boolean, and its value stays",
                  "n: elements: a text does not fit; the template has an integer, and its value "
                  "stays"}));
    for (const auto& remark : m_report.remarks)
        EXPECT_EQ(m_log.count(remark + "\n"), 1);
}

} // namespace
