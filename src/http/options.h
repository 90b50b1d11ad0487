// The options of a libcurl handle: those of a client, and those of a request.
// Each stays on the handle until it is set again. The reasons of failures are
// the records that the client logs.
#pragma once

#include "http/curl_handle.h"
#include "text/result.h"

#include <string>

namespace nyx {

/// Sets what holds for every request on `curl`: among it, that the body of a
/// response is discarded unless a request says otherwise. With
/// `reuse_connections`, a connection may serve more than one.
void set_lasting_options(CURL* curl, bool reuse_connections);

/// What a POST and a GET have in common.
struct RequestOptions {
    std::string url;
    std::string client_cert_path; ///< PEM file with certificate and key; empty: none
    long timeout_sec{};           ///< bounds the whole transfer; 0: no bound
    std::string interface;        ///< to send from, if libcurl takes it; empty: any
};

/// Makes the next request on `curl` a POST of `body`, which is copied, and which
/// follows no redirect. Its response goes where the last GET sent its own, or is
/// discarded: nobody uses it.
text::Outcome set_post_options(CURL* curl, const RequestOptions& request, const std::string& body);

/// Makes the next request on `curl` a GET that follows redirects. Its body, or
/// with `head_only` its headers, is appended to `response`, which has to outlive
/// the transfer.
text::Outcome set_get_options(CURL* curl, const RequestOptions& request, bool head_only,
                              std::string& response);

/// Sends from this interface or address; an empty one changes nothing.
text::Outcome set_interface(CURL* curl, const std::string& interface);

} // namespace nyx
