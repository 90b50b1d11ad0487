#include "platform/crypto/certificate.h"

#include "platform/crypto/pem_reader.h"
#include "platform/file/text_file.h"

#include <cerrno>
#include <cstring>
#include <utility>

namespace platform {

std::optional<std::time_t> parse_certificate_end(std::string pem)
{
    PemReader reader(std::move(pem));
    const auto certificate = reader.next_certificate();
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
    const auto end = parse_certificate_end(std::move(*pem));
    if (!end)
        return text::Failure{"it holds no certificate"};
    return *end;
}

text::Result<std::time_t> CertificateEnd::read(const std::string& path)
{
    const auto stamp = stamp_of(path);
    if (stamp && stamp == m_stamp)
        return m_end;
    m_stamp.reset();
    auto end = read_certificate_end(path);
    if (end && stamp && is_settled(*stamp) && stamp_of(path) == stamp) {
        m_end = *end;
        m_stamp = stamp;
    }
    return end;
}

} // namespace platform
