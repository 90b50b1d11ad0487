#include "platform/crypto/sealed_secret.h"
#include "platform/file/text_file.h"
#include "support/temp_folder.h"
#include "vosctl/check/check_file.h"

#include <gmock/gmock.h>

#include <cstring>
#include <regex>

using namespace vosctl;
using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

namespace {

/// A node's files, all of them good; "@" in a string stands for their directory.
class Check : public testing::Test {
protected:
    TempFolder m_folder;
    std::string m_good;

    Check()
    {
        EXPECT_TRUE(platform::create_key_file(m_folder.file("key")));
        const auto key = platform::read_key_file(m_folder.file("key"));
        m_good = fixture("good.conf");
        m_good.replace(m_good.find("SEALED"), 6, *platform::seal_secret(*key, "s"));
        m_folder.write("log", fixture("good.properties"));
        m_folder.write("lost_log", fixture("lost_log.properties"));
        m_folder.write("loud_log", "rootCategory=LOUD");
        m_folder.write("short_key", "x");
    }
    std::string fixture(const std::string& name) const
    {
        const auto text = *platform::read_text_file(VOS_FIXTURES "/conf/" + name);
        return std::regex_replace(text, std::regex("@"), m_folder.path());
    }
    /// The findings of `text`, a line each, without the file's name.
    std::vector<std::string> check(const std::string& text) const
    {
        std::vector<std::string> lines;
        for (const auto& finding : check_file(m_folder.write("vos.conf", text)))
            lines.push_back(finding_text("F", finding));
        return lines;
    }
};

TEST_F(Check, each_mistake_has_its_line)
{
    ASSERT_THAT(check(m_good), ElementsAre());
    // What is put in the place of what, and how the only finding begins.
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"freq = 60000", "freq = -1", "F: Monitoring.report_freq: warning: is -1"},
        {"report_freq = 60000;", "", "F: Monitoring.report_freq: missing: reporting is disabled"},
        {"= 250", "= 0", "F: General.polling_rate_ms: warning: is 0: it counts as 10"},
        {"freq = 60000", "freq = 5000000000", "F: Monitoring.report_freq: 5000000000 does not fit"},
        {"freq = 60000", "freq = 17999", "F: Monitoring.report_freq: note: is 17999, less"},
        {"= 250", "= 1667", "F: General.polling_rate_ms: warning: is 1667: a post takes up to"},
        {"= 250", "= 1666", "nothing"},
        {"= 250", "= 5L", "F: General.polling_rate_ms: is a 64-bit integer, not an integer, and"},
        {"= 250", "= 2.5", "F: General.polling_rate_ms: is a floating-point number, not"},
        {"= 250", "= 250; quiet_node = \"no\"", "F: General.quiet_node: is a text, not a boolean"},
        {"= 250", "= 250; sub = { x = 1; }", "F: General.sub: warning: unknown group"},
        {"= 5000;", "= 1000;", "F: General.max_thread_runtime_ms: warning: is 1000: every pass"},
        {"= 10;", "= 0;", "F: General.zel_http_client_timeout_sec: is 0: a post"},
        {"= 10;", "= 2147484;", "F: General.zel_http_client_timeout_sec: is 2147484: libcurl"},
        {"http://h:80", "ftp://h:80", "F: General.zel_report_url: has a scheme"},
        {"http://h:80", "http://h", "F: General.zel_report_url: is no URL"},
        {"http://h:80", "http://h:80/r", "F: General.zel_report_url: has no port"},
        {"//h:", "//u:pw@h:", "F: General.zel_report_url: has a user before the host"},
        {"//h:", "//[::1]:", "F: General.zel_report_url: has an IPv6 address"},
        {"//h:", "//h..example:", "F: General.zel_report_url: has \"h..example\" for its host"},
        {"//h:", "//300.1.2.3:", "F: General.zel_report_url: has \"300.1.2.3\" for its host"},
        {"//h:", "//h e:", "F: General.zel_report_url: has a blank"},
        {"//h:", "//_h.2.example.:", "nothing"},
        {"//h:", "//192.0.2.1:", "nothing"},
        {"\"/r\"", "\"r\"", "F: Monitoring.report_path: does not begin"},
        {"\"/r\"", "\"/r?a\"", "F: Monitoring.report_path: has \"?\", which no part"},
        {"\"/r\"", "\"/r\"; zel_meta_data = \"{\"", "F: Monitoring.zel_meta_data: is no JSON"},
        {"datacenter_id = \"d\";", "", "F: General.datacenter_id: warning: missing: reports say"},
        {"\"d\"", "\"d e\"", "F: General.datacenter_id: has a blank or control character, which"},
        {"\"d\"", "\"d#\"", "F: General.datacenter_id: has \"#\", which no part"},
        {"\"d\"", "\"d&\"", "F: General.datacenter_id: has \"&\", which no part"},
        {"= \"v1:", "= \"v1:AAAA", "F: General.hmac_secret: is malformed or was not sealed"},
        {"/key\"", "/short_key\"", "F: General.hmac_key_file: key file "},
        {"/log\"", "/none\"", "F: Monitoring.log_config_file: log settings "},
        {"/log\"", "/loud_log\"", "F: Monitoring.log_config_file: log settings "},
        {"/log\"", "/lost_log\"", "F: Monitoring.log_config_file: log file /nowhere/x.log of app"},
        {"path = \"\"", "path = \"/dev/null\"",
         "F: Monitoring.local_json_report_path: warning: /dev/null is no regular file"},
        {"General", "Wtchdog = {}; General", "F: Wtchdog: warning: unknown group"},
        {"General", "Watchdog = { kill_delay_ms = 0; }; General", "F: Watchdog.kill_delay_ms: war"},
        {"Monitoring", "General", "F:6: duplicate setting name"},
        {"General", "@include \"/none\"\nGeneral", "F:1: cannot open include file"},
        {"General", "@include \"/tmp\"\nGeneral", "F: includes /tmp, which is not a regular file"},
    };
    for (const auto& [from, to, want] : cases) {
        auto text = m_good;
        auto lines = check(text.replace(text.find(from), std::strlen(from), to));
        if (lines.empty())
            lines.emplace_back("nothing");
        EXPECT_THAT(lines, ElementsAre(StartsWith(want))) << to;
    }
}

TEST_F(Check, whole_file)
{
    EXPECT_THAT(check(""), ElementsAre(StartsWith("F: empty: ")));
    EXPECT_THAT(check("\n\na = ;"), ElementsAre("F:3: syntax error"));
    EXPECT_THAT(check(std::string("a = 1;\n\0", 8)), ElementsAre("F:2: holds a NUL byte"));
    for (const char* start : {"F: vos_id: warning: unknown key, perhaps meant: General.vos_id",
                              "F: General: is an integer, not a group: all of its keys",
                              "F: General.vos_id: missing: the daemon does not start"})
        EXPECT_THAT(check("General = 5; vos_id = 1;"), Contains(StartsWith(start)));
    EXPECT_THAT(check_file(m_folder.file("none")), testing::SizeIs(1));
}

} // namespace
