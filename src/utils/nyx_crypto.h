// Keyed hashes and the enciphered secret of the configuration.
//
// An enciphered secret is "v1:" and the base64 text of nonce (12 bytes),
// ciphertext and tag (16 bytes): AES-256-GCM under the 32-byte key held raw in
// the file that "General.hmac_key_file" names.
#pragma once

#include "config/keys.h"

#include <array>
#include <optional>
#include <string>

namespace nyx {

/// Where the key lies when the configuration does not say.
constexpr const char* default_hmac_key_file = config::default_hmac_key_file;

/// A key that wipes itself.
class SecretKey {
public:
    static constexpr std::size_t size = 32;

    SecretKey() = default;
    SecretKey(const SecretKey&) = delete;
    SecretKey& operator=(const SecretKey&) = delete;
    SecretKey(SecretKey&& other) noexcept : m_bytes(other.m_bytes) { other.wipe(); }
    ~SecretKey() { wipe(); }

    unsigned char* data() { return m_bytes.data(); }
    const unsigned char* data() const { return m_bytes.data(); }

private:
    void wipe();

    std::array<unsigned char, size> m_bytes{};
};

/// Reads the key file. Nothing, and the reason in `failure`, when it is
/// missing, is no regular file, does not hold exactly 32 bytes, or may be read
/// by group or others.
std::optional<SecretKey> read_key_file(const std::string& path, std::string& failure);

/// Makes a key file (mode 0600) with a new random key. False, and the reason in
/// `failure`, on failure; an existing file is one.
bool create_key_file(const std::string& path, std::string& failure);

/// The enciphered form of `secret`. Empty when the system has no randomness.
std::string seal_secret(const SecretKey& key, const std::string& secret);

/// The secret in `sealed`; nothing when it is malformed or does not
/// authenticate under `key`.
std::optional<std::string> open_secret(const SecretKey& key, const std::string& sealed);

/// The file that "General.hmac_key_file" of the current configuration names.
std::string hmac_key_file();

class Crypto {
public:
    enum HashType { sha256 = 0 };

    /// False for good when OpenSSL could not be set up in this process.
    static bool is_library_ready();

    /// The secret that `sealed` holds under the configured key. Empty, and one
    /// error record that never shows the secret, on failure.
    std::string decrypt(const std::string& sealed) const;

    /// HMAC of `data`, lower-case hexadecimal; empty for an unknown `type`.
    std::string hmac(const std::string& data, const std::string& key, int type) const;
};

} // namespace nyx
