#include "platform/file/proc_root.h"

#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/wait.h>

TEST(ProcRoot, is_told_from_one_of_other_ids_and_from_files)
{
    const TempFolder folder;
    std::filesystem::create_symlink(std::to_string(::getpid()), folder.file("self"));
    for (const platform::ProcRoot files : {folder.path(), folder.file("none")})
        EXPECT_FALSE(files.is_proc() || files.has_own_ids()) << files.path();
    EXPECT_TRUE(platform::ProcRoot().is_proc() && platform::ProcRoot().has_own_ids());
    if (::fork() == 0) { // its child is 1 for itself, and something else in this /proc
        if (::unshare(CLONE_NEWUSER | CLONE_NEWPID) == 0 && ::fork() == 0)
            ::_exit(platform::ProcRoot().is_proc() && !platform::ProcRoot().has_own_ids() ? 0 : 1);
        int status = 0; // where that is forbidden
        ::wait(&status);
        ::_exit(status == 0 ? 0 : 1);
    }
    int status = 1;
    EXPECT_TRUE(::wait(&status) > 0 && status == 0);
}
