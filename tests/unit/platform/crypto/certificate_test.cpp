#include "platform/crypto/certificate.h"

#include "support/temp_folder.h"

#include <gtest/gtest.h>

TEST(Certificate, end_of_the_first_one_or_the_reason_why_there_is_none)
{
    const TempFolder folder;
    const auto path = folder.file("pem"); // becomes each of them
    platform::CertificateEnd kept;
    const std::pair<const char*, const char*> cases[] = {
        {"none.pem", "No such file or directory"},
        {"two.pem", "3523300432"},
        {"cut.pem", "it holds no certificate"},
        {"two.pem", "3523300432"},
    };
    for (const auto& [file, want] : cases) {
        std::filesystem::remove(path);
        std::filesystem::create_symlink(VOS_FIXTURES "/certificate/" + std::string(file), path);
        for (const auto& end :
             {platform::read_certificate_end(path), kept.read(path), kept.read(path)})
            EXPECT_EQ(end ? std::to_string(*end) : end.reason(), want) << file;
    }
}
