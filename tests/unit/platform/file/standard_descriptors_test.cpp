#include "platform/file/standard_descriptors.h"

#include <gtest/gtest.h>
#include <unistd.h>

TEST(StandardError, waits_for_nobody_and_survives_a_reader_that_is_gone)
{
    int ends[2];
    ASSERT_EQ(::pipe(ends), 0);
    const int before = ::dup(STDERR_FILENO);
    ::dup2(ends[1], STDERR_FILENO);
    ::close(ends[1]);
    std::string text(1024 * 1024, 'x'); // more than a pipe holds
    platform::write_standard_error(text);
    EXPECT_GE(::read(ends[0], text.data(), text.size()), 4096);
    ::close(ends[0]);
    platform::write_standard_error(text);
    ::dup2(before, STDERR_FILENO);
    ::close(before);
}
