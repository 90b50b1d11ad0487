// What a PEM text holds, one after another.
#pragma once

#include <openssl/bio.h>
#include <openssl/evp.h>
#include <openssl/x509.h>

#include <memory>
#include <string>

namespace platform {

struct OpensslDeleter {
    void operator()(BIO* source) const { BIO_free(source); }
    void operator()(X509* certificate) const { X509_free(certificate); }
    void operator()(STACK_OF(X509) * certificates) const
    {
        sk_X509_pop_free(certificates, &X509_free);
    }
    void operator()(EVP_PKEY* key) const { EVP_PKEY_free(key); }
};

using Certificate = std::unique_ptr<X509, OpensslDeleter>;
using Certificates = std::unique_ptr<STACK_OF(X509), OpensslDeleter>;
using PrivateKey = std::unique_ptr<EVP_PKEY, OpensslDeleter>;

/// Reads a text of its own, which may hold a key: it is overwritten at the end.
/// Asks nobody for a password, and leaves nothing in OpenSSL's error queue.
class PemReader {
public:
    explicit PemReader(std::string text);
    PemReader(const PemReader&) = delete;
    PemReader& operator=(const PemReader&) = delete;
    ~PemReader();

    /// The first certificate, then the next one. Null: none is left, or the next
    /// one is malformed.
    Certificate next_certificate();
    /// Whether next_certificate() gave none because none was left.
    bool has_ended() const { return m_ended; }

    /// The first key of the text. Null: there is none, it is malformed, or
    /// protected by a password.
    PrivateKey first_key();

private:
    std::string m_text;
    std::unique_ptr<BIO, OpensslDeleter> m_source;
    bool m_at_first{true};
    bool m_ended{false};
};

} // namespace platform
