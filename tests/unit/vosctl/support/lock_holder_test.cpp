#include "vosctl/support/lock_holder.h"

#include "platform/file/unique_fd.h"
#include "support/temp_folder.h"

#include <gmock/gmock.h>

#include <fcntl.h>
#include <sys/file.h>

TEST(LockHolder, is_named)
{
    const TempFolder folder;
    const auto path = folder.write("conf.lock", "");
    EXPECT_THAT(vosctl::lock_holder_text(path), testing::HasSubstr("does not tell"));
    const platform::UniqueFd lock(::open(path.c_str(), O_RDONLY));
    ASSERT_EQ(::flock(lock.get(), LOCK_SH), 0);
    EXPECT_EQ(vosctl::lock_holder_text(path), "held by vosctl_support_ (process " +
                                                  std::to_string(::getpid()) +
                                                  "); wait for that to end, or end it");
}
