#include "utils/nyx_crypto.h"

#include "common/nyx_configurator.h"
#include "config/keys.h"
#include "platform/crypto/sealed_secret.h"
#include "platform/logger/sup_logger.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/evp.h>

#include <array>
#include <cstdint>

namespace nyx {

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Crypto");
    return instance;
}

} // namespace

std::string hmac_key_file()
{
    std::string path = config::default_hmac_key_file;
    TheConfigurator::get_configuration().config.lookupValue(config::key::hmac_key_file, path);
    return path;
}

std::string Crypto::decrypt(const std::string& sealed) const
{
    const auto key = platform::read_key_file(hmac_key_file());
    if (!key) {
        logger().error("decrypt: ", key.reason());
        return {};
    }
    auto secret = platform::open_secret(*key, sealed);
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
    if (EVP_Q_mac(nullptr, "HMAC", nullptr, "SHA256", nullptr, key.data(), key.size(),
                  reinterpret_cast<const unsigned char*>(data.data()), data.size(), digest.data(),
                  digest.size(), &size) == nullptr)
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
