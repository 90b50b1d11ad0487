#include "tls_post.h"

#include "platform/file/unique_fd.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace {

void require(bool done, const char* what)
{
    if (!done)
        throw std::runtime_error(std::string("floor: ") + what);
}

platform::UniqueFd connect_to(const std::string& host, int port)
{
    platform::UniqueFd fd(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    const int on = 1;
    ::setsockopt(fd.get(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    require(::inet_pton(AF_INET, host.c_str(), &address.sin_addr) == 1, "no address");
    require(::connect(fd.get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
            "no connection");
    return fd;
}

} // namespace

TlsPost::TlsPost(std::string host, int port, const char* certificate, bool resumes)
    : m_host(std::move(host)), m_port(port),
      m_context(SSL_CTX_new(TLS_client_method()), SSL_CTX_free),
      m_session(nullptr, SSL_SESSION_free), m_resumes(resumes)
{
    require(m_context && SSL_CTX_use_certificate_chain_file(m_context.get(), certificate) == 1 &&
                SSL_CTX_use_PrivateKey_file(m_context.get(), certificate, SSL_FILETYPE_PEM) == 1,
            "the certificate can not be used");
}

void TlsPost::post(const std::string& path, const std::string& body)
{
    const auto fd = connect_to(m_host, m_port);
    const std::unique_ptr<SSL, decltype(&SSL_free)> tls(SSL_new(m_context.get()), SSL_free);
    require(tls && SSL_set_fd(tls.get(), fd.get()) == 1, "no TLS");
    if (m_session)
        SSL_set_session(tls.get(), m_session.get());
    require(SSL_connect(tls.get()) == 1, "no handshake");
    require((SSL_session_reused(tls.get()) == 1) == (m_session != nullptr), "another handshake");
    exchange(tls.get(),
             "POST " + path + " HTTP/1.1\r\nHost: " + m_host +
                 "\r\nAccept: */*\r\nContent-Type: application/json\r\nContent-Length: " +
                 std::to_string(body.size()) + "\r\n\r\n" + body);
    if (m_resumes)
        m_session.reset(SSL_get1_session(tls.get()));
    SSL_shutdown(tls.get());
}

void TlsPost::exchange(SSL* tls, const std::string& request)
{
    require(SSL_write(tls, request.data(), static_cast<int>(request.size())) ==
                static_cast<int>(request.size()),
            "the request can not be sent");
    std::string answer;
    std::array<char, 4096> part{};
    while (answer.find("\r\n\r\n") == std::string::npos) { // its body is empty
        const int length = SSL_read(tls, part.data(), part.size());
        require(length > 0, "no answer");
        answer.append(part.data(), static_cast<std::size_t>(length));
    }
    require(answer.starts_with("HTTP/1.1 200 "), "the server did not take a report");
}
