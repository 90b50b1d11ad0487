#include "platform/file/atomic_file.h"

#include "support/temp_folder.h"

#include <gmock/gmock.h>

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>

TEST(ReplaceFile, failure_names_the_path_and_leaves_what_was_there)
{
    const TempFolder folder;
    const auto target = folder.write("report.json", "old");
    folder.write("report.json.tmp", "left by a crash");
    platform::replace_file(target, "new");
    EXPECT_EQ(folder.read("report.json"), "new");
    EXPECT_FALSE(std::filesystem::exists(target + ".tmp"));

    std::filesystem::create_directory(folder.file("folder"));
    for (const auto& path : {folder.file("nowhere/report.json"), folder.file("folder")})
        EXPECT_THAT([&path] { platform::replace_file(path, "new"); },
                    testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr(path)));
    EXPECT_FALSE(std::filesystem::exists(folder.file("folder.tmp")));
}

TEST(ReplaceFile, nothing_is_written_through_a_link)
{
    const TempFolder folder;
    const auto others = folder.write("others", "old");
    std::filesystem::create_symlink(others, folder.file("new.tmp"));
    std::filesystem::create_symlink(folder.file("none"), folder.file("private"));
    platform::replace_file(folder.file("new"), "new");
    EXPECT_THROW(platform::create_private_file(folder.file("private"), "x"), std::runtime_error);
    EXPECT_EQ(folder.read("others") + folder.read("new") + folder.read("none"), "oldnew");
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
