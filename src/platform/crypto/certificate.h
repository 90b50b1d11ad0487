// When a certificate ends.
#pragma once

#include "platform/file/file_stamp.h"
#include "text/result.h"

#include <ctime>
#include <optional>
#include <string>

namespace platform {

/// The end (notAfter) of the first certificate in the PEM text `pem`, seconds
/// since 1970. Nothing when there is no certificate or it is malformed. Pure,
/// and leaves nothing in OpenSSL's error queue.
std::optional<std::time_t> parse_certificate_end(std::string pem);

/// The same of the file at `path`; it may not be readable, or hold no
/// certificate.
text::Result<std::time_t> read_certificate_end(const std::string& path);

/// The same, for who asks again and again: the file is read when it has changed.
class CertificateEnd {
public:
    text::Result<std::time_t> read(const std::string& path);

private:
    std::optional<FileStamp> m_stamp; ///< none: to be read again
    std::time_t m_end{};
};

} // namespace platform
