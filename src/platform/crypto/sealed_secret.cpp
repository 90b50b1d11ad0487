#include "platform/crypto/sealed_secret.h"

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <memory>
#include <string_view>

namespace platform {

namespace {

constexpr std::string_view version_prefix = "v1:";
constexpr std::size_t nonce_size = 12;
constexpr std::size_t tag_size = 16;

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

CipherContext new_context()
{
    return {EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free};
}

unsigned char* bytes(std::string& text)
{
    return reinterpret_cast<unsigned char*>(text.data());
}

const unsigned char* bytes(std::string_view text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

std::string base64(const std::string& data)
{
    std::string text(4 * ((data.size() + 2) / 3) + 1, '\0');
    const int length = EVP_EncodeBlock(bytes(text), bytes(data), static_cast<int>(data.size()));
    text.resize(static_cast<std::size_t>(length));
    return text;
}

std::optional<std::string> from_base64(std::string_view text)
{
    if (text.empty() || text.size() % 4 != 0)
        return std::nullopt;
    std::string data(3 * (text.size() / 4), '\0');
    if (EVP_DecodeBlock(bytes(data), bytes(text), static_cast<int>(text.size())) < 0)
        return std::nullopt;
    // OpenSSL counts the padding as zero bytes.
    data.erase(data.size() - (text.ends_with("==") ? 2 : text.ends_with("=") ? 1 : 0));
    return data;
}

} // namespace

text::Result<std::string> seal_secret(const SecretKey& key, const std::string& secret)
{
    std::string box(nonce_size + secret.size() + tag_size, '\0');
    auto* const nonce = bytes(box);
    auto* const text = nonce + nonce_size;
    auto* const tag = text + secret.size();
    const auto context = new_context();
    int length = 0;
    const bool sealed =
        context && RAND_bytes(nonce, nonce_size) == 1 &&
        EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key.data(), nonce) == 1 &&
        EVP_EncryptUpdate(context.get(), text, &length, bytes(std::string_view(secret)),
                          static_cast<int>(secret.size())) == 1 &&
        EVP_EncryptFinal_ex(context.get(), text + length, &length) == 1 &&
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, tag_size, tag) == 1;
    if (!sealed)
        return text::Failure{"the system has no randomness to seal with"};
    return std::string(version_prefix) + base64(box);
}

std::optional<std::string> open_secret(const SecretKey& key, const std::string& sealed)
{
    const std::string_view text(sealed);
    if (!text.starts_with(version_prefix))
        return std::nullopt;
    auto box = from_base64(text.substr(version_prefix.size()));
    if (!box || box->size() < nonce_size + tag_size)
        return std::nullopt;
    const std::size_t size = box->size() - nonce_size - tag_size;
    auto* const nonce = bytes(*box);
    auto* const cipher = nonce + nonce_size;
    std::string secret(size, '\0');
    const auto context = new_context();
    int length = 0;
    const bool opened =
        context &&
        EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key.data(), nonce) == 1 &&
        EVP_DecryptUpdate(context.get(), bytes(secret), &length, cipher, static_cast<int>(size)) ==
            1 &&
        EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, tag_size, cipher + size) == 1 &&
        EVP_DecryptFinal_ex(context.get(), bytes(secret) + length, &length) == 1;
    if (!opened)
        return std::nullopt;
    return secret;
}

} // namespace platform
