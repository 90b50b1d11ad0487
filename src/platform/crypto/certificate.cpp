#include "platform/crypto/certificate.h"

#include "platform/file/text_file.h"

#include <openssl/bio.h>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

#include <cerrno>
#include <cstring>
#include <limits>
#include <memory>

namespace platform {

namespace {

constexpr const char* no_certificate = "it holds no certificate";

/// A protected key in front of the certificate must not ask for its password.
int no_password(char*, int, int, void*)
{
    return 0;
}

} // namespace

std::optional<std::time_t> parse_certificate_end(std::string_view pem)
{
    if (pem.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        return std::nullopt;
    const std::unique_ptr<BIO, decltype(&BIO_free)> source(
        BIO_new_mem_buf(pem.data(), static_cast<int>(pem.size())), &BIO_free);
    const std::unique_ptr<X509, decltype(&X509_free)> certificate(
        source ? PEM_read_bio_X509(source.get(), nullptr, &no_password, nullptr) : nullptr,
        &X509_free);
    ERR_clear_error(); // libcurl would take what is left there for its own
    std::tm end{};
    if (!certificate || ASN1_TIME_to_tm(X509_get0_notAfter(certificate.get()), &end) != 1)
        return std::nullopt;
    return ::timegm(&end);
}

text::Result<std::time_t> read_certificate_end(const std::string& path)
{
    auto pem = read_text_file(path);
    if (!pem)
        return text::Failure{std::strerror(errno)};
    if (pem->empty())
        return text::Failure{no_certificate};
    const auto end = parse_certificate_end(*pem);
    OPENSSL_cleanse(&pem->front(), pem->size()); // the private key lies in the same file
    if (!end)
        return text::Failure{no_certificate};
    return *end;
}

} // namespace platform
