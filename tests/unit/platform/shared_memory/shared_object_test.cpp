#include "platform/shared_memory/shared_object.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/mman.h>

using namespace nyx_utils;

namespace {

/// An object of 8 bytes that another program made.
struct SharedMemoryObject : testing::Test {
    ~SharedMemoryObject() override { ::shm_unlink(name.c_str()), ::sem_unlink(name.c_str()); }

    void expect_refused(std::size_t size, SharedMemoryUse use, const std::string& why) const
    {
        EXPECT_THAT(([=, this] { SharedMemory(name.substr(1), size, use); }),
                    testing::ThrowsMessage<std::runtime_error>(testing::EndsWith(why)));
    }
    const std::string name = "/vos_test." + std::to_string(::getpid());
    const platform::UniqueFd object{::shm_open(name.c_str(), O_RDWR | O_CREAT, 0600)};
    const bool sized = ::ftruncate(object.get(), 8) == 0;
};

TEST_F(SharedMemoryObject, is_made_longer_by_who_may_make_one)
{
    expect_refused(8, SharedMemoryUse::existing, "No such file or directory"); // a semaphore
    SharedMemory(name.substr(1), 8, SharedMemoryUse::create);
    expect_refused(9, SharedMemoryUse::existing, "layout: 8 bytes, not 9");
    SharedMemory(name.substr(1), 9, SharedMemoryUse::create);
    SharedMemory(name.substr(1), 9, SharedMemoryUse::existing);
}

TEST_F(SharedMemoryObject, is_refused_with_a_semaphore_that_is_none_and_when_it_is_another_user_s)
{
    const platform::UniqueFd semaphore(
        ::shm_open(("/sem." + name.substr(1)).c_str(), O_RDWR | O_CREAT, 0600));
    for (const auto use : {SharedMemoryUse::create, SharedMemoryUse::existing})
        expect_refused(8, use, "is too short: 0 bytes, not 32");
    ASSERT_EQ(::ftruncate(semaphore.get(), sizeof(sem_t)), 0);
    SharedMemory(name.substr(1), 8, SharedMemoryUse::existing);
    for (const auto* file : {&semaphore, &object}) {
        if (::fchown(file->get(), 12345, 12345) != 0)
            GTEST_SKIP() << "only root can give a file away";
        for (const auto use : {SharedMemoryUse::create, SharedMemoryUse::existing})
            expect_refused(8, use, " is another user's");
    }
}

} // namespace
