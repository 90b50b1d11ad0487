// Asynchronous HTTP: one request at a time, driven step by step from the
// owner's timer.
#pragma once

#include "http/client_certificate.h"
#include "http/curl_handle.h"
#include "http/response_body.h"
#include "http/transfer_info.h"

#include <cstdint>
#include <ctime>
#include <list>
#include <string>

namespace nyx {

/// One libcurl easy handle on one multi handle. Queue a request, then call
/// continue_send() until is_async_running() turns false; the outcome is then
/// readable until the next request is queued. Never blocks, makes no thread.
/// Every option stays on the handle until another request overwrites it.
class HttpClient {
public:
    /// With `reuse_connections`, a connection may serve more than one request.
    /// Throws std::runtime_error when libcurl gives no handles.
    explicit HttpClient(bool reuse_connections);
    HttpClient(const HttpClient&) = delete;
    HttpClient& operator=(const HttpClient&) = delete;
    virtual ~HttpClient();

    /// Whether the last continue_send() left a transfer unfinished.
    virtual bool is_async_running() const { return m_async_running; }
    /// Whether a request is queued or running: another one is refused then.
    bool has_request() const { return !m_headers.empty(); }

    /// Moves the transfer on as far as it goes without waiting, and takes in
    /// its outcome when it has ended. False only when libcurl's multi interface
    /// fails; a failed transfer is logged and shows in the accessors below.
    virtual bool continue_send();

    /// Queues a POST of `body`, which is copied. `host` goes into the "Host"
    /// header. `client_cert_path` names a PEM file with certificate and key, or
    /// is empty. `gzip` says that `body` is compressed. `timeout_sec` bounds
    /// the whole transfer; 0 is no bound. False, and one error record, when it
    /// can not be queued, as while another request is under way.
    virtual bool init_post_request_async(const std::string& url, const std::string& host,
                                         const std::string& client_cert_path,
                                         const std::string& body, bool gzip, long timeout_sec);

    /// Queues a GET that follows redirects; get_response() collects the body,
    /// or with `head_only` the response headers. Empty `date` and
    /// `authorization` make no header. Otherwise as for a POST.
    bool init_get_request_async(const std::string& url, const std::string& host,
                                const std::string& client_cert_path, bool head_only,
                                const std::string& date, const std::string& authorization,
                                long timeout_sec);
    bool init_get_request_async(const std::string& url, const std::string& host,
                                const std::string& client_cert_path, long timeout_sec);

    /// Takes the request off the multi handle, whatever its state, and frees
    /// its headers.
    void clean_http_requests();

    /// Whether the last request ended with any HTTP status at all.
    bool is_response_received() const { return m_response_received; }
    /// Whether the last request ended with HTTP status 200.
    bool is_request_succeeded() const { return m_request_succeeded; }
    /// Why the last request came to nothing; empty while it has not, and for
    /// one that ended with status 200.
    const std::string& get_failure() const { return m_failure; }
    /// When a request last ended with status 200, wall clock; 0: never.
    std::time_t get_last_success_time() const { return m_last_success_time; }
    /// HTTP status of the last finished transfer; 503 when nobody listens, 408
    /// after a time-out; any other failure leaves the one before. 0 at first.
    std::int64_t get_response_code() const { return m_response_code; }
    /// What the last GET collected, whatever its status.
    const std::string& get_response() const { return m_response; }
    /// Of the last transfer that ended with status 200.
    const TransferStatistics& get_statistics() const { return m_statistics; }
    /// Remote and local address of the last transfer that got an HTTP status.
    const std::string& get_primary_ip() const { return m_primary_ip; }
    const std::string& get_local_ip() const { return m_local_ip; }

protected:
    /// May set options on a new socket; CURL_SOCKOPT_OK lets libcurl use it.
    virtual int sockopt_function(int fd, curlsocktype purpose);
    /// The interface or address to send from; empty leaves it to the kernel.
    virtual std::string get_bind_interface() { return {}; }

    /// Puts the request's headers on the handle; the list must live as long as
    /// the request. Null when libcurl refuses it.
    CurlList create_headers(const std::string& host, const std::string& date,
                            const std::string& authorization, bool json_body, bool gzip);

    std::string m_bind_interface; ///< for GET requests; empty: any
    bool m_request_succeeded{false};
    /// Keeps why the request came to nothing; nothing when memory is short.
    void set_failure(const char* why) noexcept;

private:
    static int sockopt_callback(void* client, curl_socket_t fd, curlsocktype purpose) noexcept;

    bool refuse_second_request();
    bool queue(CurlList headers, const std::string& client_cert_path, const char* queued_record);
    void finish_transfer(CURLcode result);
    void read_outcome();

    const bool m_reuse_connections;
    ClientCertificate m_certificate;
    CurlMultiHandle m_curl_multi; ///< outlives the easy handle
    CurlHandle m_curl;
    std::string m_failure;
    std::list<CurlList> m_headers; ///< not empty while a request is queued or running
    bool m_async_running{false};
    bool m_response_received{false};
    std::string m_response;
    std::time_t m_last_success_time{0};
    std::int64_t m_response_code{0};
    TransferStatistics m_statistics;
    std::string m_primary_ip;
    std::string m_local_ip;
};

} // namespace nyx
