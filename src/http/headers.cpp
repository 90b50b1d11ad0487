#include "http/headers.h"

#include <utility>

namespace nyx {

namespace {

bool append(CurlList& list, const std::string& line)
{
    curl_slist* longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr)
        return false;
    static_cast<void>(list.release()); // it is part of `longer` now
    list.reset(longer);
    return true;
}

} // namespace

CurlList make_header_list(const std::string& host, const std::string& date,
                          const std::string& authorization, bool json_body, bool gzip)
{
    CurlList headers;
    const bool made =
        append(headers, "Host: " + host) &&
        (!json_body || append(headers, "Content-Type: application/json")) &&
        (date.empty() || append(headers, "Date: " + date)) &&
        (authorization.empty() || append(headers, "Authorization: " + authorization)) &&
        (!gzip || append(headers, "Content-Encoding: gzip")) &&
        // Keeps libcurl from asking whether it may send a large body: many servers
        // never answer that, and some refuse it.
        (!json_body || append(headers, "Expect:"));
    return made ? std::move(headers) : nullptr;
}

} // namespace nyx
