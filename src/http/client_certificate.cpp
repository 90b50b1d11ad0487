#include "http/client_certificate.h"

#include <openssl/err.h>
#include <openssl/ssl.h>

#include <memory>

namespace nyx {

namespace {

/// `context` gets references of its own.
bool use_pair(SSL_CTX* context, const platform::KeyPair& pair)
{
    const bool used = SSL_CTX_use_cert_and_key(context, pair.certificate.get(), pair.key.get(),
                                               pair.chain.get(), 1) == 1;
    ERR_clear_error(); // libcurl would take what is left there for its own
    return used;
}

/// Whether a connection would take it: the system's security level may forbid a
/// weak key. libcurl is to tell of that.
bool is_acceptable(const platform::KeyPair& pair)
{
    const std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)> trial(SSL_CTX_new(TLS_client_method()),
                                                                  &SSL_CTX_free);
    return trial && use_pair(trial.get(), pair);
}

} // namespace

void ClientCertificate::hand_over(CURL* curl, const std::string& path)
{
    take_back(curl);
    if (!m_path)
        m_path = path;
    if (path.empty() || path != m_path || !refresh() ||
        curl_easy_setopt(curl, CURLOPT_SSL_CTX_DATA, this) != CURLE_OK ||
        curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, &on_connection) != CURLE_OK)
        return;
    m_handed_over = true;
    curl_easy_setopt(curl, CURLOPT_SSLCERT, nullptr);
}

void ClientCertificate::take_back(CURL* curl)
{
    if (!m_handed_over)
        return;
    curl_easy_setopt(curl, CURLOPT_SSL_CTX_FUNCTION, nullptr);
    curl_easy_setopt(curl, CURLOPT_SSLCERT, m_path->c_str());
    m_handed_over = false;
}

/// The connection may be made long after the transfer was queued, and libcurl
/// reads the file now: so what is true now counts.
CURLcode ClientCertificate::on_connection(CURL*, void* context, void* self) noexcept
{
    try {
        auto& certificate = *static_cast<ClientCertificate*>(self);
        const bool used =
            certificate.refresh() && use_pair(static_cast<SSL_CTX*>(context), *certificate.m_pair);
        return used ? CURLE_OK : CURLE_SSL_CERTPROBLEM;
    } catch (...) {
        return CURLE_OUT_OF_MEMORY;
    }
}

/// Whether there is a good pair, which is then that of the file as it is.
bool ClientCertificate::refresh()
{
    const auto stamp = platform::stamp_of(*m_path);
    if (stamp && stamp == m_stamp)
        return true;
    m_stamp.reset();
    m_pair = stamp ? platform::read_key_pair(*m_path) : std::nullopt;
    if (!m_pair || !is_acceptable(*m_pair) || platform::stamp_of(*m_path) != stamp) {
        m_pair.reset();
        return false;
    }
    if (platform::is_settled(*stamp))
        m_stamp = stamp;
    return true;
}

} // namespace nyx
