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

} // namespace platform
