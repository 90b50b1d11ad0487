#include "http/options.h"

#include "http/response_body.h"

#include <sys/socket.h>

namespace nyx {

namespace {

constexpr long upload_buffer_size = 2 * 1024 * 1024; // the largest that libcurl takes

/// libcurl does not look whether it could make its socket non-blocking; a
/// blocking one would hold the loop.
curl_socket_t open_socket(void*, curlsocktype, curl_sockaddr* address) noexcept
{
    return ::socket(address->family, address->socktype | SOCK_NONBLOCK | SOCK_CLOEXEC,
                    address->protocol);
}

text::Failure failure(const char* what, CURLcode code)
{
    return {what + std::to_string(code)};
}

text::Outcome set_security_and_timeout(CURL* curl, const RequestOptions& request)
{
    if (!request.client_cert_path.empty()) {
        curl_easy_setopt(curl, CURLOPT_SSLCERTTYPE, "PEM");
        curl_easy_setopt(curl, CURLOPT_SSLCERT, request.client_cert_path.c_str());
    }
    if (curl_easy_setopt(curl, CURLOPT_SSL_VERIFYPEER, 0L) != CURLE_OK)
        return text::Failure{"Failed setting SSL host verification"};
    if (curl_easy_setopt(curl, CURLOPT_TIMEOUT, request.timeout_sec) != CURLE_OK)
        return text::Failure{"Failed setting request timeout"};
    return text::done();
}

} // namespace

void set_lasting_options(CURL* curl, bool reuse_connections)
{
    curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, reuse_connections ? 0L : 1L);
    // At most one buffer leaves per step, and a report of 2.7 MB must leave in few.
    curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, upload_buffer_size);
    // HTTP/2 would need a step per flow-control window of 64 KiB.
    curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &discard_callback);
    // Requests are addressed by IP: the name check would fail them all.
    curl_easy_setopt(curl, CURLOPT_SSL_VERIFYHOST, 0L);
    // The server is reached directly; a proxy of some shell's environment is not ours.
    curl_easy_setopt(curl, CURLOPT_PROXY, "");
    // Nothing but the web: a wrong URL or a redirect must not read local files.
    curl_easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    curl_easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION, &open_socket);
    // CURLOPT_NOSIGNAL stays off: libcurl then shields its own writes from SIGPIPE.
}

text::Outcome set_post_options(CURL* curl, const RequestOptions& request, const std::string& body)
{
    CURLcode set = curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
    if (set != CURLE_OK)
        return failure("Failed setting URL: ", set);
    // What a GET on the same handle has set. The body itself makes it a POST.
    curl_easy_setopt(curl, CURLOPT_NOBODY, 0L);
    curl_easy_setopt(curl, CURLOPT_HEADER, 0L);
    curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 0L);
    set = curl_easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    if (set == CURLE_OK)
        set = curl_easy_setopt(curl, CURLOPT_COPYPOSTFIELDS, body.c_str());
    if (set != CURLE_OK)
        return failure("Failed setting HTTP body (COPYPOSTFIELDS): ", set);
    auto outcome = set_security_and_timeout(curl, request);
    if (outcome)
        static_cast<void>(set_interface(curl, request.interface)); // refused: any
    return outcome;
}

text::Outcome set_get_options(CURL* curl, const RequestOptions& request, bool head_only,
                              std::string& response)
{
    curl_easy_setopt(curl, CURLOPT_URL, request.url.c_str());
    curl_easy_setopt(curl, CURLOPT_HTTPGET, 1L);
    curl_easy_setopt(curl, CURLOPT_NOBODY, head_only ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_HEADER, head_only ? 1L : 0L);
    curl_easy_setopt(curl, CURLOPT_WRITEFUNCTION, &write_callback);
    curl_easy_setopt(curl, CURLOPT_WRITEDATA, &response);
    auto outcome = set_security_and_timeout(curl, request);
    if (!outcome)
        return outcome;
    if (curl_easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L) != CURLE_OK)
        return text::Failure{"Failed setting a follow location option"};
    static_cast<void>(set_interface(curl, request.interface)); // refused: any
    return text::done();
}

text::Outcome set_interface(CURL* curl, const std::string& interface)
{
    if (!interface.empty() &&
        curl_easy_setopt(curl, CURLOPT_INTERFACE, interface.c_str()) != CURLE_OK)
        return text::Failure{"Failed setting bind interface"};
    return text::done();
}

} // namespace nyx
