// The client's certificate and key, kept parsed from one transfer to the next.
#pragma once

#include "http/curl_handle.h"
#include "platform/crypto/key_pair.h"
#include "platform/file/file_stamp.h"

#include <optional>
#include <string>

namespace nyx {

/// Spares libcurl reading and decoding the file that CURLOPT_SSLCERT names for
/// every connection. It has to outlive the transfer. A connection keeps what it
/// needs of the pair.
///
/// A resumed TLS session shows no certificate: the server knows the client by
/// the one that it saw when the session began, whatever is in the file now.
/// libcurl tells the sessions of two files apart by CURLOPT_SSLCERT alone. So
/// one file is kept, that of the first transfer: the sessions without a name
/// are its own.
class ClientCertificate {
public:
    ClientCertificate() = default;
    ClientCertificate(const ClientCertificate&) = delete;
    ClientCertificate& operator=(const ClientCertificate&) = delete;

    /// To be called when the options of the next transfer on `curl` are set.
    /// If the file at `path`, which CURLOPT_SSLCERT names, holds a good pair, it
    /// is handed over in place of that option. If not, libcurl is left to read
    /// what it was told and to say what is wrong; also for an empty `path`.
    void hand_over(CURL* curl, const std::string& path);

    /// To be called after the transfer: the option is as it was.
    void take_back(CURL* curl);

private:
    static CURLcode on_connection(CURL* curl, void* context, void* self) noexcept;

    bool refresh();

    std::optional<std::string> m_path;          ///< of the first transfer; may be empty
    std::optional<platform::FileStamp> m_stamp; ///< of m_pair; none: to be read again
    std::optional<platform::KeyPair> m_pair;
    bool m_handed_over{false};
};

} // namespace nyx
