#include "platform/file/text_file.h"
#include "support/temp_folder.h"
#include "vosctl/verbs/verb_table.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <map>
#include <regex>

using namespace vosctl;

namespace {

std::string packaged(const std::string& name)
{
    return *platform::read_text_file(VOS_FIXTURES "/../../packaging/" + name);
}

/// The headings of the manual's paragraphs, without their markup and blanks.
std::vector<std::string> manual_headings()
{
    std::vector<std::string> headings;
    const auto manual = packaged("man/vosctl.8");
    const std::regex heading(R"(\.TP\n\.[BIR]+ (.*))");
    for (std::sregex_iterator at(manual.begin(), manual.end(), heading), end; at != end; ++at)
        headings.push_back(std::regex_replace((*at)[1].str(), std::regex(R"(\\f.|[\\" ])"), ""));
    return headings;
}

/// What the completion offers after a verb, by verb.
std::map<std::string, std::string> completions()
{
    std::map<std::string, std::string> offered;
    const auto script = packaged("vosctl.bash-completion");
    const std::regex branch(R"(\n    ([a-z| ]+)\)([^;]*);;)");
    const std::regex word("[a-z]+");
    for (std::sregex_iterator at(script.begin(), script.end(), branch), end; at != end; ++at) {
        const auto verbs = (*at)[1].str();
        for (std::sregex_iterator verb(verbs.begin(), verbs.end(), word); verb != end; ++verb)
            offered[verb->str()] = (*at)[2];
    }
    return offered;
}

} // namespace

TEST(VerbTable, is_what_manual_and_completion_know)
{
    const auto headings = manual_headings();
    auto offered = completions();
    for (const auto* verb : verb_table()) {
        SCOPED_TRACE(verb->name);
        EXPECT_EQ(find_verb(verb->name), verb);
        const auto usage = usage_of(*verb);
        EXPECT_THAT(headings, testing::Contains(std::regex_replace(usage, std::regex("[ ]"), "")));
        ASSERT_TRUE(offered.contains(verb->name));
        const std::regex option("--?[a-z]+");
        for (std::sregex_iterator at(usage.begin(), usage.end(), option), end; at != end; ++at)
            EXPECT_THAT(offered[verb->name], testing::HasSubstr(at->str()));
        offered.erase(verb->name);
    }
    EXPECT_THAT(offered, testing::IsEmpty());
    EXPECT_EQ(find_verb("stat"), nullptr);
}

TEST(VerbTable, wrong_usage_is_refused_in_words)
{
    const std::tuple<const char*, std::vector<std::string>, const char*> cases[] = {
        {"status", {"--json", "--json"}, "usage: vosctl status [--json]"},
        {"reload", {"--force", "x"}, "usage: vosctl reload [--force]"},
        {"stop", {"x"}, "vosctl stop: takes no arguments"},
        {"top", {"-n", "0"}, "usage: vosctl top [--once | -n COUNT]"},
        {"bundle", {"--help-me"}, "usage: vosctl bundle FILE"},
        {"record", {"--json", "--name"}, "usage: vosctl record [--json] [--name NAME]"},
        {"report",
         {"--interval", "3601"},
         "usage: vosctl report [--interval SECONDS], 1 to 3600 (1)"},
        {"merge", {"a", "b", "--c"}, "vosctl merge: takes three files: TEMPLATE CURRENT OUTPUT"},
        {"seal", {"x"}, "vosctl seal: takes no arguments; the secret comes on standard input"},
        {"check", {"a", "b"}, "usage: vosctl check [FILE]"},
        {"get", {}, "usage: vosctl get PATH"},
        {"set", {"a..b", "1"}, "vosctl set: a..b is no dotted path of names"},
    };
    ::setenv("VOS_IPC_DIR", "/nowhere", 1); // one that is let through must stop nothing
    for (const auto& [name, arguments, want] : cases) {
        const auto& verb = *find_verb(name);
        try {
            ADD_FAILURE() << name << " ended with "
                          << verb.run({.verb = name, .arguments = arguments});
        } catch (const UsageError& error) {
            EXPECT_EQ(usage_error_text(verb, error), want);
        }
    }
}

TEST(Set, says_when_a_key_counts_that_no_reload_changes)
{
    const TempFolder folder;
    CommandLine line;
    line.config = folder.write("vos.conf", "General = { };");
    const std::tuple<const char*, const char*, const char*> cases[] = {
        {"Monitoring.report_path", "/r", "counts at the next start of the daemon .vosctl stop.\n$"},
        {"Watchdog.kill_delay_ms", "9", "next start of the supervisor .systemctl restart"},
        {"Monitoring.report_freq", "1", "^$"},
        {"General.mine", "1", "no program of the node reads General.mine"},
    };
    for (const auto& [path, value, want] : cases) {
        line.arguments = {path, value};
        testing::internal::CaptureStderr();
        EXPECT_EQ(find_verb("set")->run(line), 0);
        EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::ContainsRegex(want));
    }
}

TEST(CommandLine, options_stand_anywhere_and_a_verb_keeps_its_own)
{
    const auto line = parse_command_line({"--config=a", "set", "--x", "--config", "b", "y", "-h"});
    ASSERT_TRUE(line);
    EXPECT_EQ(line->config, "b");
    EXPECT_TRUE(line->config_given && line->help && !line->version);
    EXPECT_EQ(line->verb, "set");
    EXPECT_THAT(line->arguments, testing::ElementsAre("--x", "y"));
    EXPECT_EQ(parse_command_line({"--x", "set"}).reason(), "unknown option --x");
    EXPECT_EQ(parse_command_line({"set", "--config"}).reason(), "--config needs a file");
}
