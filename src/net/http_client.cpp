#include "net/http_client.h"

#include "http/curl_library.h"
#include "http/headers.h"
#include "http/options.h"
#include "platform/logger/sup_logger.h"
#include "utils/nyx_crypto.h"

#include <stdexcept>
#include <string>
#include <utility>

namespace nyx {

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("HttpClient");
    return instance;
}

/// What every client needs. Where a part of OpenSSL's state is missing, no
/// transfer ever succeeds.
struct Libraries {
    Libraries()
    {
        if (!curl.is_ready() || !Crypto::is_library_ready())
            throw std::runtime_error("ERROR Fail to set up libcurl or OpenSSL");
    }

    CurlLibrary curl;
};

/// False, and one error record, when `outcome` is a failure.
bool succeeded(const text::Outcome& outcome)
{
    if (!outcome)
        logger().error(outcome.reason());
    return static_cast<bool>(outcome);
}

} // namespace

HttpClient::HttpClient(bool reuse_connections) : m_reuse_connections(reuse_connections)
{
    static const Libraries libraries;
    m_curl_multi.reset(curl_multi_init());
    if (!m_curl_multi)
        throw std::runtime_error("ERROR Fail to create m_curl multi handle for post method");
    m_curl.reset(curl_easy_init());
    if (!m_curl)
        throw std::runtime_error("ERROR Fail to create m_curl handle for post method");
    curl_easy_setopt(m_curl.get(), CURLOPT_SOCKOPTFUNCTION, &HttpClient::sockopt_callback);
    curl_easy_setopt(m_curl.get(), CURLOPT_SOCKOPTDATA, this);
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
    if (refuse_second_request())
        return false;
    m_response.clear(); // or responses to POSTs would pile up after the last GET's
    const RequestOptions request{url, client_cert_path, timeout_sec, get_bind_interface()};
    if (!succeeded(set_post_options(m_curl.get(), request, body)))
        return false;
    return queue(create_headers(host, "", "", true, gzip), client_cert_path,
                 "Successfully queued HTTP request for sending.");
}

bool HttpClient::init_get_request_async(const std::string& url, const std::string& host,
                                        const std::string& client_cert_path, bool head_only,
                                        const std::string& date, const std::string& authorization,
                                        long timeout_sec)
{
    if (refuse_second_request())
        return false;
    m_response.clear();
    const RequestOptions request{url, client_cert_path, timeout_sec, get_bind_interface()};
    if (!succeeded(set_interface(m_curl.get(), m_bind_interface)) ||
        !succeeded(set_get_options(m_curl.get(), request, head_only, m_response)))
        return false;
    return queue(create_headers(host, date, authorization, false, false), client_cert_path,
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
    if (!has_request())
        return false;
    logger().error("Failed adding multi-handle: ",
                   curl_multi_add_handle(m_curl_multi.get(), m_curl.get()));
    return true;
}

CurlList HttpClient::create_headers(const std::string& host, const std::string& date,
                                    const std::string& authorization, bool json_body, bool gzip)
{
    auto headers = make_header_list(host, date, authorization, json_body, gzip);
    if (headers && curl_easy_setopt(m_curl.get(), CURLOPT_HTTPHEADER, headers.get()) != CURLE_OK)
        headers.reset();
    return headers;
}

bool HttpClient::queue(CurlList headers, const std::string& client_cert_path,
                       const char* queued_record)
{
    if (!headers) {
        // A GET says so too.
        logger().error("init_post_request_async: Failed setting custom http headers");
        return false;
    }
    // A kept connection is only used again for the same CURLOPT_SSLCERT, whatever
    // has become of the file; and hardly ever a new one is made.
    if (!m_reuse_connections)
        m_certificate.hand_over(m_curl.get(), client_cert_path);
    m_headers.push_back(std::move(headers)); // first: libcurl is to have no list that may go
    const CURLMcode added = curl_multi_add_handle(m_curl_multi.get(), m_curl.get());
    if (added != CURLM_OK) {
        logger().error("Failed adding multi-handle: ", added);
        m_certificate.take_back(m_curl.get());
        m_headers.pop_back();
        return false;
    }
    m_response_received = false;
    m_request_succeeded = false;
    m_failure.clear();
    logger().info(queued_record);
    return true;
}

bool HttpClient::continue_send()
{
    int running = 0;
    const bool idle = !has_request(); // a tick between two requests, as most are
    const CURLMcode result = idle ? CURLM_OK : curl_multi_perform(m_curl_multi.get(), &running);
    logger().trace("curl_multi_perform: num_running_req:", running);
    if (idle)
        return true;
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
        return; // the flag of success says enough
    }
}

void HttpClient::clean_http_requests()
{
    curl_multi_remove_handle(m_curl_multi.get(), m_curl.get());
    m_certificate.take_back(m_curl.get());
    // The lists go now.
    curl_easy_setopt(m_curl.get(), CURLOPT_HTTPHEADER, static_cast<curl_slist*>(nullptr));
    m_headers.clear();
    m_async_running = false;
}

} // namespace nyx
