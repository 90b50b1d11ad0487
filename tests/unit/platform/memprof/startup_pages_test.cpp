#include "platform/memprof/startup_pages.h"

#include <gtest/gtest.h>

TEST(StartupPages, gives_back_the_text_of_the_program)
{
    EXPECT_GT(release_startup_pages(), 0U);
}
