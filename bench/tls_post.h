// A POST over TLS by OpenSSL alone: blocking, one connection a request.
#pragma once

#include <openssl/ssl.h>

#include <memory>
#include <string>

/// The client certificate and its key are read once. Failures are thrown as
/// std::runtime_error.
class TlsPost {
public:
    /// To `host`, an address of IPv4. `certificate`: a PEM file with the key. With
    /// `resumes`, each handshake takes up the session of the one before, else all are full.
    TlsPost(std::string host, int port, const char* certificate, bool resumes);

    /// Sends `body` to `path`, a query included, and reads the answer, which has to be 200.
    void post(const std::string& path, const std::string& body);

private:
    using Context = std::unique_ptr<SSL_CTX, decltype(&SSL_CTX_free)>;
    using Session = std::unique_ptr<SSL_SESSION, decltype(&SSL_SESSION_free)>;

    void exchange(SSL* tls, const std::string& request);

    std::string m_host;
    int m_port;
    Context m_context;
    Session m_session;
    bool m_resumes;
};
