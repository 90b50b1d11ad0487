#include "http/curl_library.h"

#include <curl/curl.h>

namespace nyx {

CurlLibrary::CurlLibrary() : m_ready(curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK) {}

CurlLibrary::~CurlLibrary()
{
    if (m_ready)
        curl_global_cleanup();
}

} // namespace nyx
