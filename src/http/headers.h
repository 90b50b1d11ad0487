// The header lines that a request sends beside libcurl's own.
#pragma once

#include "http/curl_handle.h"

#include <string>

namespace nyx {

/// In this order: "Host", "Content-Type" for a `json_body`, "Date" and
/// "Authorization" unless empty, "Content-Encoding" for `gzip`; no "Expect" of
/// libcurl's for a `json_body`. Null when memory is short.
CurlList make_header_list(const std::string& host, const std::string& date,
                          const std::string& authorization, bool json_body, bool gzip);

} // namespace nyx
