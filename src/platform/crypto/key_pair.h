// A certificate with its key.
#pragma once

#include "platform/crypto/pem_reader.h"

#include <optional>
#include <string>

namespace platform {

/// What a TLS connection shows, and proves to be its own.
struct KeyPair {
    Certificate certificate;
    Certificates chain; ///< the file's other certificates, in its order; null: none
    PrivateKey key;     ///< that of the certificate
};

/// What SSL_CTX_use_certificate_chain_file() and SSL_CTX_use_PrivateKey_file()
/// take from the same PEM text. Nothing when they would refuse it or ask for a
/// password. Pure, and leaves nothing in OpenSSL's error queue.
std::optional<KeyPair> parse_key_pair(std::string pem);

/// The same of the regular file at `path`; nothing for another one, which is not
/// waited for. No copy of its text stays in memory.
std::optional<KeyPair> read_key_pair(const std::string& path);

} // namespace platform
