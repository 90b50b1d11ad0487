#include "common/nyx_configurator.h"
#include "common/nyx_file_lock.h"
#include "common/nyx_thread.h"
#include "platform/file/while_waiting.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sys/file.h>

#include <chrono>
#include <thread>

using namespace nyx;

TEST(FileLock, readers_share_and_a_writer_excludes)
{
    const TempFolder folder;
    std::filesystem::permissions(folder.write("conf", ""), std::filesystem::perms(0400));
    FileLock reader(folder.file("conf.lock"), folder.file("conf"));
    FileLock second(folder.file("conf.lock"));
    reader.read_lock();
    second.read_lock();
    second.unlock();
    EXPECT_EQ(std::filesystem::status(folder.file("conf.lock")).permissions(),
              std::filesystem::perms(0600))
        << "others can not hold it";
    platform::UniqueFd other(::open(folder.file("conf.lock").c_str(), O_RDWR));
    EXPECT_NE(::flock(other.get(), LOCK_EX | LOCK_NB), 0);
    reader.unlock();
    reader.unlock();
    EXPECT_EQ(::flock(other.get(), LOCK_EX | LOCK_NB), 0);
    int calls = 0;
    const platform::WorkWhileWaiting work([&calls] { ++calls; });
    const auto start = std::chrono::steady_clock::now();
    EXPECT_THROW(reader.write_lock(), FileLockFailure) << "a holder that never lets go";
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10));
    EXPECT_GT(calls, 50);
}

TEST(FileLock, without_its_folder_locking_is_off_and_everything_succeeds)
{
    CapturedLog log;
    FileLock lock("/nonexistent/conf.lock");
    lock.write_lock();
    lock.unlock();
    lock.read_lock();
    EXPECT_EQ(log.count("Locking is disabled"), 2);
    EXPECT_TRUE(
        log.contains("Failed to open lock file: /nonexistent/conf.lock, disabling NYXFileLock."));
}

TEST(Thread, long_call_is_warned_about_and_the_thread_goes_on)
{
    AConfigurator conf("", false);
    conf.config.readString("General = { max_thread_runtime_ms = 20; };");
    CapturedLog log;
    std::atomic<int> calls{0};
    Thread thread(
        "worker",
        [](void* arg) {
            auto& count = *static_cast<std::atomic<int>*>(arg);
            std::this_thread::sleep_for(std::chrono::milliseconds(count == 0 ? 60 : 1));
            if (++count == 3)
                throw std::runtime_error("third");
        },
        &calls);
    thread.join(); // not started: nothing to wait for
    thread.start(conf);
    while (calls < 5)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    thread.stop();
    thread.join();
    EXPECT_EQ(log.count("thread worker function took too long: 6"), 1) << log.text();
    EXPECT_TRUE(log.contains("Thread worker created successfully"));
    EXPECT_TRUE(log.contains("thread worker function failed: third"));
    EXPECT_TRUE(log.contains("Thread worker stopped"));
}
