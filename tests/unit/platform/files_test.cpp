#include "platform/file/atomic_file.h"
#include "platform/memprof/startup_pages.h"
#include "platform/variant/variant.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <limits>

using libvariant::Variant;

TEST(ReplaceFile, failure_names_the_path_and_leaves_what_was_there)
{
    const TempFolder folder;
    const auto target = folder.write("report.json", "old");
    folder.write("report.json.tmp", "left by a crash");
    platform::replace_file(target, "new");
    EXPECT_EQ(folder.read("report.json"), "new");
    EXPECT_FALSE(std::filesystem::exists(target + ".tmp"));

    std::filesystem::create_directory(folder.file("folder"));
    for (const auto& path : {folder.file("nowhere/report.json"), folder.file("folder")}) {
        SCOPED_TRACE(path);
        try {
            platform::replace_file(path, "new");
            ADD_FAILURE() << "written";
        } catch (const std::runtime_error& error) {
            EXPECT_NE(std::string(error.what()).find(path), std::string::npos);
        }
    }
    EXPECT_FALSE(std::filesystem::exists(folder.file("folder.tmp")));
}

TEST(ReplaceFile, keeps_mode_and_owner)
{
    const TempFolder folder;
    const auto target = folder.write("vos.conf", "old");
    for (const mode_t mode : {0600U, 0640U, 0444U}) {
        const bool given_away = ::chown(target.c_str(), 12, 34) == 0; // root's tests only
        ::chmod(target.c_str(), mode);
        platform::replace_file(target, "new");
        struct stat found {};
        ::stat(target.c_str(), &found);
        EXPECT_EQ(found.st_mode & ALLPERMS, mode);
        EXPECT_EQ(found.st_uid == 12 && found.st_gid == 34, given_away);
    }
}

TEST(ReplaceFile, full_disk_leaves_the_old_file_and_nothing_else)
{
    const TempFolder folder;
    const auto target = folder.write("report.json", "old");
    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{1000, limit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_THROW(platform::replace_file(target, std::string(5000, 'x')), std::runtime_error);
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, before);
    EXPECT_EQ(folder.read("report.json"), "old");
    EXPECT_FALSE(std::filesystem::exists(target + ".tmp"));
}

TEST(WriteJson, numbers_and_texts)
{
    const double infinity = std::numeric_limits<double>::infinity();
    const Variant ten{{"precision", 10}};
    const struct {
        Variant value;
        Variant options;
        const char* want;
    } cases[] = {
        {1.0 / 3, ten, "0.3333333333"},
        {1.0 / 3, Variant::object(), "0.3333333333333333"},
        {2.0 / 3e7, ten, "6.666666667e-08"},
        {123456789012.5, ten, "123456789000.0"},
        {0.1, ten, "0.1"},
        {-0.0, ten, "-0.0"},
        {18446744073709551615U, ten, "18446744073709551615"},
        {Variant::array({std::nan(""), infinity, -infinity}), ten, "[null,null,null]"},
        {Variant{{"b", 1}, {"a", 2}}, Variant::object(), R"({"a":2,"b":1})"},
        {"\xff\"\n", Variant::object(), "\"\xEF\xBF\xBD\\\"\\n\""},
        {Variant{{"a", {1}}}, Variant{{"pretty", true}}, "{\n  \"a\": [\n    1\n  ]\n}"},
        {Variant::object(), Variant{{"pretty", true}}, "{}"},
    };
    for (const auto& row : cases)
        EXPECT_EQ(libvariant::write_json(row.value, row.options), row.want);
}

TEST(ReadJson, malformed_text_throws)
{
    EXPECT_EQ(libvariant::read_json(R"({"zone": 7})")["zone"], 7);
    for (const char* text : {"", "{", "{\"a\":}", "nonsense"})
        EXPECT_THROW(libvariant::read_json(text), std::runtime_error) << text;
}

TEST(StartupPages, only_text_that_nobody_writes_is_given_back)
{
    const struct {
        const char* line;
        std::optional<TextRange> want;
    } cases[] = {
        {"7f0000001000-7f0000003000 r-xp 00001000 08:01 7 /usr/lib/libx.so",
         TextRange{0x7f0000001000, 0x7f0000003000}},
        {"7f0000001000-7f0000003000 rwxp 00001000 08:01 7 /usr/lib/libx.so", {}},
        {"7f0000001000-7f0000003000 r--p 00001000 08:01 7 /usr/lib/libx.so", {}},
        {"7f0000001000-7f0000003000 r-xp 00000000 00:00 0 [vdso]", {}},
        {"7f0000001000-7f0000003000 r-xp 00000000 00:00 0", {}},
        {"7f0000003000-7f0000001000 r-xp 0 0 0 /x", {}},
        {"7f0000001000", {}},
        {"", {}},
    };
    for (const auto& row : cases)
        EXPECT_EQ(parse_text_range(row.line), row.want) << row.line;
    EXPECT_GT(release_startup_pages(), 0U);
}
