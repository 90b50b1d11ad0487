// An enciphered secret: "v1:" and the base64 text of nonce (12 bytes), ciphertext
// and tag (16 bytes): AES-256-GCM under a SecretKey.
#pragma once

#include "platform/crypto/secret_key.h"

#include <optional>
#include <string>

namespace platform {

/// The enciphered form of `secret`; not without randomness of the system.
text::Result<std::string> seal_secret(const SecretKey& key, const std::string& secret);

/// The secret in `sealed`; nothing when it is malformed or does not
/// authenticate under `key`.
std::optional<std::string> open_secret(const SecretKey& key, const std::string& sealed);

} // namespace platform
