#include "platform/file/atomic_file.h"

#include "platform/file/temporary_name.h"
#include "platform/file/unique_fd.h"
#include "support/temp_folder.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <future>

namespace {

using std::filesystem::create_symlink;

TEST(ReplaceFile, failure_names_the_path_and_leaves_nothing)
{
    const TempFolder folder;
    std::filesystem::create_directory(folder.file("folder"));
    create_symlink("loop", folder.file("loop"));
    for (const auto& path :
         {folder.file("nowhere/report.json"), folder.file("folder"), folder.file("loop")})
        EXPECT_THAT([&path] { platform::replace_file(path, "new"); },
                    testing::ThrowsMessage<std::runtime_error>(testing::HasSubstr(path)));
    EXPECT_EQ(folder.entries(), 2);
}

TEST(ReplaceFile, links_are_followed_and_stay_but_not_where_it_writes_first)
{
    const TempFolder folder;
    const auto others = folder.write("others", "old");
    const auto target = folder.write("real/report.json", "old");
    create_symlink("real/second", folder.file("first"));
    create_symlink("report.json", folder.file("real/second"));
    create_symlink(folder.file("real/new"), folder.file("dangling"));
    create_symlink(others, platform::temporary_name(target));
    create_symlink(folder.file("none"), folder.file("private"));
    platform::replace_file(folder.file("first"), "1");
    platform::replace_file(folder.file("dangling"), "2");
    EXPECT_THROW(platform::create_private_file(folder.file("private"), "x"), std::runtime_error);
    EXPECT_EQ(folder.read("real/report.json") + folder.read("real/new"), "12");
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("first")));
    EXPECT_TRUE(std::filesystem::is_symlink(folder.file("dangling")));
    EXPECT_EQ(folder.read("others") + folder.read("none"), "old");
    EXPECT_FALSE(std::filesystem::exists(platform::temporary_name(target)));
}

TEST(ReplaceFile, pipe_is_written_directly_and_never_for_long)
{
    const TempFolder folder;
    const auto pipe = folder.file("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    platform::replace_file(pipe, "nobody reads");
    platform::UniqueFd reader(::open(pipe.c_str(), O_RDONLY | O_NONBLOCK));
    platform::replace_file(pipe, "some");
    char got[9]{};
    EXPECT_EQ(::read(reader.get(), got, 8), 4);
    EXPECT_STREQ(got, "some");
    const std::string long_text(1 << 20, 'x');
    EXPECT_THROW(platform::replace_file(pipe, long_text), std::runtime_error)
        << "nobody empties it";
    auto writer = std::async([&] { platform::replace_file(pipe, long_text); });
    ::usleep(100000);
    reader.reset(); // the write under way ends without SIGPIPE
    writer.get();
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    EXPECT_EQ(folder.entries(), 1);
}

TEST(ReplaceFile, only_leftovers_of_gone_writers_go)
{
    const TempFolder folder;
    const auto gone = ::fork();
    if (gone == 0)
        ::_exit(0);
    ::waitpid(gone, nullptr, 0);
    const auto name = [](pid_t pid) { return ".vos.conf." + std::to_string(pid) + ".tmp"; };
    for (const auto& left : {name(gone), name(::getpid())})
        folder.write(left, "left");
    const std::string stay[] = {name(1), name(0), ".vos.conf.x.tmp", ".vos.conf.tmp",
                                "vos.conf.tmp"};
    for (const auto& other : stay)
        folder.write(other, "another's");
    platform::remove_leftovers(folder.file("vos.conf"));
    EXPECT_EQ(folder.entries(), std::ssize(stay));
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
    EXPECT_EQ(folder.entries(), 1);
}

} // namespace
