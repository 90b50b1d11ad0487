#include "net/http_client.h"

#include "http/headers.h"
#include "platform/logger/sup_logger.h"
#include "utils/nyx_crypto.h"

#include <sys/socket.h>

#include <stdexcept>
#include <string>
#include <utility>

namespace nyx {

namespace {

constexpr long upload_buffer_size = 2 * 1024 * 1024; // the largest that libcurl takes

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("HttpClient");
    return instance;
}

/// libcurl's process-wide state. libcurl does not look whether OpenSSL's, which it
/// sets up on the way, is whole; where it is not, no transfer ever succeeds.
struct CurlLibrary {
    CurlLibrary()
    {
        if (curl_global_init(CURL_GLOBAL_DEFAULT) != CURLE_OK || !Crypto::is_library_ready())
            throw std::runtime_error("ERROR Fail to set up libcurl or OpenSSL");
    }
    CurlLibrary(const CurlLibrary&) = delete;
    CurlLibrary& operator=(const CurlLibrary&) = delete;
    ~CurlLibrary() { curl_global_cleanup(); }
};

/// libcurl does not look whether it could make its socket non-blocking; a
/// blocking one would hold the loop.
curl_socket_t open_socket(void*, curlsocktype, curl_sockaddr* address) noexcept
{
    return ::socket(address->family, address->socktype | SOCK_NONBLOCK | SOCK_CLOEXEC,
                    address->protocol);
}

/// Options that hold for every request of the client.
void set_lasting_options(CURL* curl, bool reuse_connections)
{
    curl_easy_setopt(curl, CURLOPT_FORBID_REUSE, reuse_connections ? 0L : 1L);
    // At most one buffer leaves per step, and a report of 2.7 MB must leave in few.
    curl_easy_setopt(curl, CURLOPT_UPLOAD_BUFFERSIZE, upload_buffer_size);
    // HTTP/2 would need a step per flow-control window of 64 KiB.
    curl_easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
    // A large body would else wait a second for a "100 Continue" that many servers never send.
    curl_easy_setopt(curl, CURLOPT_EXPECT_100_TIMEOUT_MS, 1L);
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

} // namespace

unsigned long write_callback(char* data, unsigned long size, unsigned long count,
                             void* user) noexcept
{
    auto& text = *static_cast<std::string*>(user);
    const unsigned long length = size * count;
    if (length > largest_response - text.size())
        return 0;
    try {
        text.append(data, length);
    } catch (...) {
        return 0;
    }
    return length;
}

HttpClient::HttpClient(bool reuse_connections)
{
    static const CurlLibrary library;
    m_curl_multi.reset(curl_multi_init());
    if (!m_curl_multi)
        throw std::runtime_error("ERROR Fail to create m_curl multi handle for post method");
    m_curl.reset(curl_easy_init());
    if (!m_curl)
        throw std::runtime_error("ERROR Fail to create m_curl handle for post method");
    set_option(CURLOPT_SOCKOPTFUNCTION, &HttpClient::sockopt_callback);
    set_option(CURLOPT_SOCKOPTDATA, this);
    if (reuse_connections)
        logger().info("Connection re-use enabled.");
    set_lasting_options(m_curl.get(), reuse_connections);
}

HttpClient::~HttpClient()
{
    clean_http_requests();
}

int HttpClient::sockopt_function(int, curlsocktype)
{
    return CURL_SOCKOPT_OK;
}

int HttpClient::sockopt_callback(void* client, curl_socket_t fd, curlsocktype purpose) noexcept
{
    try {
        return static_cast<HttpClient*>(client)->sockopt_function(fd, purpose);
    } catch (...) {
        return CURL_SOCKOPT_ERROR;
    }
}

bool HttpClient::init_post_request_async(const std::string& url, const std::string& host,
                                         const std::string& client_cert_path,
                                         const std::string& body, bool gzip, long timeout_sec)
{
    logger().info("Request full URL: ", url);
    if (refuse_second_request() || !set_post_options(url, body, client_cert_path, timeout_sec))
        return false;
    return queue(create_headers(host, "", "", true, gzip),
                 "Successfully queued HTTP request for sending.");
}

bool HttpClient::init_get_request_async(const std::string& url, const std::string& host,
                                        const std::string& client_cert_path, bool head_only,
                                        const std::string& date, const std::string& authorization,
                                        long timeout_sec)
{
    if (refuse_second_request() || !set_get_options(url, client_cert_path, head_only, timeout_sec))
        return false;
    return queue(create_headers(host, date, authorization, false, false),
                 "Successfully queued HTTP GET request.");
}

bool HttpClient::init_get_request_async(const std::string& url, const std::string& host,
                                        const std::string& client_cert_path, long timeout_sec)
{
    return init_get_request_async(url, host, client_cert_path, false, "", "", timeout_sec);
}

// A request under way reads its body and headers from the handle's options, so
// these must not be touched. Adding the handle again only fails, with the code
// to report.
bool HttpClient::refuse_second_request()
{
    if (m_headers.empty())
        return false;
    logger().error("Failed adding multi-handle: ",
                   curl_multi_add_handle(m_curl_multi.get(), m_curl.get()));
    return true;
}

// Nothing points libcurl's write function anywhere: a POST's response goes
// where the last GET sent it, or to standard output. Nobody uses it.
bool HttpClient::set_post_options(const std::string& url, const std::string& body,
                                  const std::string& client_cert_path, long timeout_sec)
{
    m_response.clear(); // or responses to POSTs would pile up behind the last GET's
    CURLcode set = set_option(CURLOPT_URL, url.c_str());
    if (set != CURLE_OK) {
        logger().error("Failed setting URL: ", set);
        return false;
    }
    set = set_option(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
    if (set == CURLE_OK)
        set = set_option(CURLOPT_COPYPOSTFIELDS, body.c_str());
    if (set != CURLE_OK) {
        logger().error("Failed setting HTTP body (COPYPOSTFIELDS): ", set);
        return false;
    }
    if (!set_security_and_timeout(client_cert_path, timeout_sec))
        return false;
    if (const auto interface = get_bind_interface(); !interface.empty())
        set_option(CURLOPT_INTERFACE, interface.c_str());
    return true;
}

bool HttpClient::set_get_options(const std::string& url, const std::string& client_cert_path,
                                 bool head_only, long timeout_sec)
{
    m_response.clear();
    set_option(CURLOPT_URL, url.c_str());
    if (!m_bind_interface.empty() &&
        set_option(CURLOPT_INTERFACE, m_bind_interface.c_str()) != CURLE_OK) {
        logger().error("Failed setting bind interface");
        return false;
    }
    set_option(CURLOPT_HTTPGET, 1L);
    set_option(CURLOPT_NOBODY, head_only ? 1L : 0L);
    set_option(CURLOPT_HEADER, head_only ? 1L : 0L);
    set_option(CURLOPT_WRITEFUNCTION, &write_callback);
    set_option(CURLOPT_WRITEDATA, &m_response);
    if (!set_security_and_timeout(client_cert_path, timeout_sec))
        return false;
    if (set_option(CURLOPT_FOLLOWLOCATION, 1L) != CURLE_OK) {
        logger().error("Failed setting a follow location option");
        return false;
    }
    if (const auto interface = get_bind_interface(); !interface.empty())
        set_option(CURLOPT_INTERFACE, interface.c_str());
    return true;
}

bool HttpClient::set_security_and_timeout(const std::string& client_cert_path, long timeout_sec)
{
    if (!client_cert_path.empty()) {
        set_option(CURLOPT_SSLCERTTYPE, "PEM");
        set_option(CURLOPT_SSLCERT, client_cert_path.c_str());
    }
    if (set_option(CURLOPT_SSL_VERIFYPEER, 0L) != CURLE_OK) {
        logger().error("Failed setting SSL host verification");
        return false;
    }
    if (set_option(CURLOPT_TIMEOUT, timeout_sec) != CURLE_OK) {
        logger().error("Failed setting request timeout");
        return false;
    }
    return true;
}

CurlList HttpClient::create_headers(const std::string& host, const std::string& date,
                                    const std::string& authorization, bool json_body, bool gzip)
{
    auto headers = make_header_list(host, date, authorization, json_body, gzip);
    if (headers && set_option(CURLOPT_HTTPHEADER, headers.get()) != CURLE_OK)
        headers.reset();
    return headers;
}

bool HttpClient::queue(CurlList headers, const char* queued_text)
{
    if (!headers) {
        // A GET says so too.
        logger().error("init_post_request_async: Failed setting custom http headers");
        return false;
    }
    m_headers.push_back(std::move(headers)); // first: libcurl is to have no list that may go
    const CURLMcode added = curl_multi_add_handle(m_curl_multi.get(), m_curl.get());
    if (added != CURLM_OK) {
        logger().error("Failed adding multi-handle: ", added);
        m_headers.pop_back();
        return false;
    }
    m_response_received = false;
    m_request_succeeded = false;
    m_failure.clear();
    logger().info(queued_text);
    return true;
}

bool HttpClient::continue_send()
{
    int running = 0;
    const CURLMcode result = curl_multi_perform(m_curl_multi.get(), &running);
    logger().trace("curl_multi_perform: num_running_req:", running);
    int waiting = 0;
    while (const CURLMsg* message = curl_multi_info_read(m_curl_multi.get(), &waiting)) {
        if (message->msg == CURLMSG_DONE)
            finish_transfer(message->data.result);
        else
            logger().debug("curl_multi_info_read: return unknown message code: ", message->msg);
    }
    m_async_running = running != 0;
    if (!m_async_running)
        clean_http_requests();
    return result == CURLM_OK || result == CURLM_CALL_MULTI_PERFORM;
}

void HttpClient::finish_transfer(CURLcode result)
{
    switch (result) {
    case CURLE_COULDNT_CONNECT:
        m_response_code = 503;
        set_failure("nobody listens at the server's address");
        logger().warning("Server replied with reset.");
        break;
    case CURLE_OPERATION_TIMEDOUT:
        m_response_code = 408;
        set_failure("the server did not answer in time");
        logger().warning("HTTP request timeout.");
        break;
    case CURLE_OK:
        read_outcome();
        break;
    default:
        set_failure(curl_easy_strerror(result));
        logger().warning("HTTP request failed. Status code: ", result, " (",
                         curl_easy_strerror(result), ")");
    }
}

void HttpClient::read_outcome()
{
    long status = 0;
    curl_easy_getinfo(m_curl.get(), CURLINFO_RESPONSE_CODE, &status);
    m_response_code = status;
    m_primary_ip = read_string_info(m_curl.get(), CURLINFO_PRIMARY_IP).value_or(m_primary_ip);
    m_local_ip = read_string_info(m_curl.get(), CURLINFO_LOCAL_IP).value_or(m_local_ip);
    if (status == 200) {
        logger().info("HTTP request completed successfully.");
        m_last_success_time = std::time(nullptr);
        m_request_succeeded = true;
        m_failure.clear();
        m_statistics = read_statistics(m_curl.get());
    } else {
        set_failure(("HTTP status " + std::to_string(status)).c_str());
        logger().warning("HTTP reponse error: ", status);
    }
    m_response_received = true;
}

void HttpClient::set_failure(const char* why) noexcept
{
    m_failure.clear();
    try {
        m_failure = why;
    } catch (...) {
        return; // the flag of success tells enough
    }
}

void HttpClient::clean_http_requests()
{
    curl_multi_remove_handle(m_curl_multi.get(), m_curl.get());
    set_option(CURLOPT_HTTPHEADER, static_cast<curl_slist*>(nullptr)); // the lists go now
    m_headers.clear();
    m_async_running = false;
}

} // namespace nyx
