// The table of keys against all that names one: readers, documents, the example.
#include "config/keys.h"
#include "config/setting_copy.h"
#include "platform/file/text_file.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>

using namespace config;

namespace {

/// By their paths in the source tree.
std::vector<std::string> documents_and_sources()
{
    const std::filesystem::path root = VOS_SOURCE;
    std::vector<std::string> files{"README.md"};
    for (const char* directory : {"src", "docs", "packaging"})
        for (const auto& entry : std::filesystem::recursive_directory_iterator(root / directory))
            if (entry.is_regular_file())
                files.push_back(entry.path().lexically_relative(root));
    return files;
}

std::string read(const std::string& file)
{
    return *platform::read_text_file(VOS_SOURCE "/" + file);
}

/// Each match of `pattern` in `text`: the whole of it and its groups.
std::vector<std::vector<std::string>> matches(const std::string& text, const char* pattern)
{
    const std::regex regex(pattern);
    std::vector<std::vector<std::string>> found;
    for (std::sregex_iterator match(text.begin(), text.end(), regex), end; match != end; ++match)
        found.emplace_back(match->begin(), match->end());
    return found;
}

TEST(Keys, what_is_named_is_in_the_table_and_what_is_there_is_read)
{
    std::set<std::string> read_ones;
    std::set<std::string> named;
    for (const auto& file : documents_and_sources()) {
        for (const auto& match : matches(read(file), R"(("?)([A-Z]\w*)\.([a-z]\w*)\1)"))
            EXPECT_TRUE((match[1].empty() && !is_known_group(match[2])) ||
                        find_known_key(match[2] + "." + match[3]))
                << file << ": " << match[0];
        if (file.starts_with("src/config/") || file.starts_with("src/vosctl/"))
            continue; // which only look after what others read
        const auto code = std::regex_replace(read(file), std::regex("//[^\n]*"), "");
        for (const auto& match : matches(code, R"(config::(key::)?(\w+))"))
            read_ones.insert(match[2]);
    }
    for (const auto& match : matches(read("src/config/keys.h"), R"((\w+) = "?([\w.]*))")) {
        EXPECT_TRUE(read_ones.contains(match[1])) << "src/: nobody reads " << match[1];
        named.insert(match[2]);
    }
    for (const auto& key : known_keys())
        EXPECT_TRUE(named.contains(key.path)) << "src/config/keys.h lacks " << key.path;
}

TEST(Keys, readme_and_manual_page_say_what_the_table_says)
{
    constexpr const char* read_at[] = {"start", "start, reload", "each use"};
    for (const auto& key : known_keys()) {
        const std::string path = key.path;
        const std::string unit = key.unit;
        const std::string type = nyx::type_text(key.type); // "a text"
        const auto kind = type.substr(type.find(' ') + 1) + (unit.empty() ? "" : ", " + unit);
        const auto value = fallback_text(key);
        const auto without = consequence(key);
        const std::pair<const char*, std::string> entries[] = {
            {"README.md", "\n| `" + path + "` | " + kind + " | " +
                              (value.empty() ? "none: " + without : value) + " | " +
                              read_at[static_cast<int>(key.read_at)] + " |\n"},
            {"packaging/man/vos.conf.5",
             "\n.BR " + path + " \" (" + kind + (value.empty() ? "" : ", default " + value) +
                 (without == "the daemon does not start" ? ", required" : "") +
                 (key.read_at == ReadAt::start ? ", start only" : "") + ")\"\n"}};
        for (const auto& [file, entry] : entries)
            EXPECT_NE(read(file).find(entry), std::string::npos) << file << " lacks" << entry;
        EXPECT_FALSE(without.empty()) << path;
        for (const auto& match : matches(key.too_small, "\\d+ is used"))
            EXPECT_EQ(match[0], without) << path;
    }
}

TEST(Keys, the_example_sets_or_mentions_each)
{
    const std::string file = "examples/vos.conf";
    libconfig::Config example;
    example.readFile((VOS_SOURCE "/" + file).c_str());
    for (int i = 0; i < example.getRoot().getLength(); ++i)
        for (int j = 0; j < example.getRoot()[i].getLength(); ++j) {
            const auto& setting = example.getRoot()[i][j];
            const auto* key = find_known_key(setting.getPath());
            EXPECT_TRUE(key && key->type == setting.getType()) << file << ": " << setting.getPath();
        }
    for (const auto& key : known_keys()) {
        const std::string path = key.path;
        const auto comment = "// " + path.substr(path.find('.') + 1) + " = ";
        EXPECT_TRUE(example.exists(path) || read(file).find(comment) != std::string::npos)
            << file << " lacks " << path;
    }
}

TEST(Keys, the_hint_is_the_nearest_path_within_three_letters)
{
    const std::pair<std::string, const char*> cases[] = {
        {"General.vosid", "General.vos_id"},                 // one is missing
        {"General.vos_di", "General.vos_id"},                // two are exchanged
        {"Genral.poling_rat_ms", "General.polling_rate_ms"}, // three are missing
        {"Genral.poling_rat_m", nullptr},                    // four
        {"Watchdog.restart_delay", "Watchdog.restart_delay_ms"},
        {"Monitoring.vos_id", "General.vos_id"}, // the name is right
        {"Watchdog.lg_config_file", "Watchdog.log_config_file"},
        {"", nullptr},
        {std::string(100, 'x') + ".vos_id", nullptr}, // too long to be a slip
    };
    for (const auto& [path, want] : cases)
        EXPECT_STREQ(config::nearest_known_path(path), want) << path;
}

} // namespace
