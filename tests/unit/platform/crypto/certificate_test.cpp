#include "platform/crypto/certificate.h"

#include <gtest/gtest.h>

TEST(Certificate, end_of_the_first_one_or_the_reason_why_there_is_none)
{
    const std::string folder = VOS_FIXTURES "/certificate/";
    const std::pair<const char*, const char*> cases[] = {
        {"none.pem", "No such file or directory"},
        {"cut.pem", "it holds no certificate"},
        {"two.pem", "3523300432"},
    };
    for (const auto& [file, want] : cases) {
        const auto end = platform::read_certificate_end(folder + file);
        EXPECT_EQ(end ? std::to_string(*end) : end.reason(), want) << file;
    }
}
