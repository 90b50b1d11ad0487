// The key under which secrets are enciphered, and the file that holds it raw.
#pragma once

#include "text/result.h"

#include <array>
#include <cstddef>
#include <string>

namespace platform {

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

/// Reads the key file at `path`. It may be missing, no regular file, not hold
/// exactly 32 bytes, or be open to group or others.
text::Result<SecretKey> read_key_file(const std::string& path);

/// Makes a key file (mode 0600) with a new random key. An existing file stays,
/// and is a failure.
text::Outcome create_key_file(const std::string& path);

} // namespace platform
