#include "platform/crypto/sealed_secret.h"

#include "support/temp_folder.h"

#include <gtest/gtest.h>

using namespace platform;

TEST(SealedSecret, opens_what_was_sealed_elsewhere)
{
    // Made with another AES-256-GCM: key bytes 0..31, nonce twelve times 7.
    SecretKey key;
    for (unsigned char i = 0; i < SecretKey::size; ++i)
        key.data()[i] = i;
    EXPECT_EQ(open_secret(key, "v1:BwcHBwcHBwcHBwcHbAXULgpso9Su8mHz5dCsRcsFR4lay0NaiqB9Jww="),
              "correct horse");
}

TEST(SealedSecret, sealed_text_that_was_touched_does_not_open)
{
    SecretKey key;
    for (const auto& secret : {std::string("s3cret"), std::string(), std::string(1000, '\0')}) {
        const auto sealed = *seal_secret(key, secret);
        EXPECT_EQ(open_secret(key, sealed), secret);
        EXPECT_NE(sealed, *seal_secret(key, secret)) << "a nonce is used once";
        for (std::size_t i = 0; i + 2 < sealed.size(); i += 7) {
            auto touched = sealed;
            touched[i] = touched[i] == 'A' ? 'B' : 'A';
            EXPECT_EQ(open_secret(key, touched), std::nullopt) << i;
        }
    }
    for (const char* malformed : {"", "v1:", "v1:====", "v1:AAAA", "v2:AAAA", "plain text", "v1:A"})
        EXPECT_EQ(open_secret(key, malformed), std::nullopt) << malformed;
    SecretKey other;
    other.data()[0] = 1;
    EXPECT_EQ(open_secret(other, *seal_secret(key, "s3cret")), std::nullopt);
}

TEST(SecretKey, key_file_that_can_not_be_trusted_is_refused_with_the_reason)
{
    const TempFolder folder;
    const auto path = folder.file("secret.key");
    const auto refused = [&path](const std::string& why) {
        const auto key = read_key_file(path);
        return !key && key.reason().starts_with("key file " + path + ": " + why);
    };
    EXPECT_TRUE(refused("No such file"));
    ASSERT_TRUE(create_key_file(path) && read_key_file(path));
    EXPECT_FALSE(create_key_file(path)) << "an existing key is not replaced";
    using std::filesystem::perms;
    std::filesystem::permissions(path, perms::owner_read | perms::group_read);
    EXPECT_TRUE(refused("group or others"));
    std::filesystem::permissions(path, perms::owner_read | perms::owner_write);
    std::filesystem::resize_file(path, 31);
    EXPECT_TRUE(refused("holds 31 bytes, not 32"));
    std::filesystem::remove(path);
    std::filesystem::create_directory(path);
    EXPECT_TRUE(refused("not a regular file"));
}
