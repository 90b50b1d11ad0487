#include "platform/crypto/pem_reader.h"

#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/pem.h>

#include <limits>
#include <utility>

namespace platform {

namespace {

/// Without it OpenSSL asks at the terminal, or at standard input. Less than 0
/// is no password; 0 were an empty one, to be tried.
int no_password(char*, int, int, void*)
{
    return -1;
}

} // namespace

PemReader::PemReader(std::string text) : m_text(std::move(text))
{
    if (m_text.size() <= static_cast<std::size_t>(std::numeric_limits<int>::max()))
        m_source.reset(BIO_new_mem_buf(m_text.data(), static_cast<int>(m_text.size())));
    ERR_clear_error();
}

PemReader::~PemReader()
{
    OPENSSL_cleanse(m_text.data(), m_text.size());
    ERR_clear_error(); // libcurl would take what is left there for its own
}

Certificate PemReader::next_certificate()
{
    if (!m_source)
        return nullptr;
    // Like SSL_CTX_use_certificate_chain_file(): the first one may say what it is trusted for.
    const auto read = m_at_first ? &PEM_read_bio_X509_AUX : &PEM_read_bio_X509;
    m_at_first = false;
    Certificate certificate(read(m_source.get(), nullptr, &no_password, nullptr));
    const auto error = ERR_peek_last_error();
    m_ended = !certificate && ERR_GET_LIB(error) == ERR_LIB_PEM &&
              ERR_GET_REASON(error) == PEM_R_NO_START_LINE;
    return certificate;
}

PrivateKey PemReader::first_key()
{
    if (!m_source || BIO_reset(m_source.get()) != 1)
        return nullptr;
    return PrivateKey(PEM_read_bio_PrivateKey(m_source.get(), nullptr, &no_password, nullptr));
}

} // namespace platform
