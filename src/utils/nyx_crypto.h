// Keyed hashes, and the enciphered secret of the configuration (see
// platform/crypto/sealed_secret.h).
#pragma once

#include <string>

namespace nyx {

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
