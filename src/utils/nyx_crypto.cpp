#include "utils/nyx_crypto.h"

#include "common/nyx_configurator.h"
#include "platform/file/unique_fd.h"
#include "platform/logger/sup_logger.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/rand.h>

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string_view>

namespace nyx {

namespace {

using platform::UniqueFd;

constexpr std::string_view version_prefix = "v1:";
constexpr std::size_t nonce_size = 12;
constexpr std::size_t tag_size = 16;

using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

CipherContext new_context()
{
    return {EVP_CIPHER_CTX_new(), &EVP_CIPHER_CTX_free};
}

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Crypto");
    return instance;
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

std::string error_text(const std::string& path)
{
    return path + ": " + std::strerror(errno);
}

} // namespace

void SecretKey::wipe()
{
    OPENSSL_cleanse(m_bytes.data(), m_bytes.size());
}

std::optional<SecretKey> read_key_file(const std::string& path, std::string& failure)
{
    const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat found {};
    if (!fd.valid() || ::fstat(fd.get(), &found) != 0) {
        failure = "key file " + error_text(path);
        return std::nullopt;
    }
    if (!S_ISREG(found.st_mode))
        failure = "key file " + path + ": not a regular file";
    else if ((found.st_mode & (S_IRWXG | S_IRWXO)) != 0)
        failure = "key file " + path + ": group or others may use it (wanted mode 0600)";
    else if (found.st_size != static_cast<off_t>(SecretKey::size))
        failure = "key file " + path + ": holds " + std::to_string(found.st_size) + " bytes, not " +
                  std::to_string(SecretKey::size);
    if (!failure.empty())
        return std::nullopt;
    SecretKey key;
    if (::read(fd.get(), key.data(), SecretKey::size) != static_cast<ssize_t>(SecretKey::size)) {
        failure = "key file " + error_text(path);
        return std::nullopt;
    }
    return key;
}

bool create_key_file(const std::string& path, std::string& failure)
{
    SecretKey key;
    if (RAND_bytes(key.data(), static_cast<int>(SecretKey::size)) != 1) {
        failure = "no randomness for a key";
        return false;
    }
    UniqueFd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    const bool written =
        fd.valid() &&
        ::write(fd.get(), key.data(), SecretKey::size) == static_cast<ssize_t>(SecretKey::size) &&
        ::fsync(fd.get()) == 0;
    if (!written) {
        failure = "key file " + error_text(path);
        if (fd.valid())
            ::unlink(path.c_str());
    }
    return written;
}

std::string seal_secret(const SecretKey& key, const std::string& secret)
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
    return sealed ? std::string(version_prefix) + base64(box) : std::string();
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

std::string hmac_key_file()
{
    std::string path = default_hmac_key_file;
    TheConfigurator::get_configuration().config.lookupValue(config::key::hmac_key_file, path);
    return path;
}

std::string Crypto::decrypt(const std::string& sealed) const
{
    std::string failure;
    const auto key = read_key_file(hmac_key_file(), failure);
    if (!key) {
        logger().error("decrypt: ", failure);
        return {};
    }
    auto secret = open_secret(*key, sealed);
    if (!secret) {
        logger().error("decrypt: the enciphered secret is malformed or was not made with the key "
                       "in ",
                       hmac_key_file());
        return {};
    }
    return *secret;
}

bool Crypto::is_library_ready()
{
    // Each part is set up once; asking again gives what came of it.
    constexpr std::uint64_t parts = OPENSSL_INIT_LOAD_CRYPTO_STRINGS |
                                    OPENSSL_INIT_ADD_ALL_CIPHERS | OPENSSL_INIT_ADD_ALL_DIGESTS |
                                    OPENSSL_INIT_LOAD_CONFIG;
    if (OPENSSL_init_crypto(parts, nullptr) != 1)
        return false;
    // What it keeps for each thread shows only in use: here, its queue of errors.
    ERR_raise(ERR_LIB_USER, ERR_R_INTERNAL_ERROR);
    const bool has_queue = ERR_peek_error() != 0;
    ERR_clear_error();
    return has_queue;
}

std::string Crypto::hmac(const std::string& data, const std::string& key, int type) const
{
    if (type != sha256)
        return {};
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    std::size_t size = 0;
    if (EVP_Q_mac(nullptr, "HMAC", nullptr, "SHA256", nullptr, key.data(), key.size(), bytes(data),
                  data.size(), digest.data(), digest.size(), &size) == nullptr)
        return {};
    constexpr char digits[] = "0123456789abcdef";
    std::string text;
    for (std::size_t i = 0; i < size; ++i) {
        text += digits[digest[i] >> 4];
        text += digits[digest[i] & 15];
    }
    return text;
}

} // namespace nyx
