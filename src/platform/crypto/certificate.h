// When a certificate ends.
#pragma once

#include <ctime>
#include <optional>
#include <string>
#include <string_view>

namespace nyx_utils {

/// The end (notAfter) of the first certificate in the PEM text `pem`, seconds
/// since 1970. Nothing when there is no certificate or it is malformed. Pure,
/// and leaves nothing in OpenSSL's error queue.
std::optional<std::time_t> parse_certificate_end(std::string_view pem);

/// The same of the file at `path`. Nothing, and the reason in `failure`, when
/// it can not be read or holds no certificate.
std::optional<std::time_t> read_certificate_end(const std::string& path, std::string& failure);

} // namespace nyx_utils
