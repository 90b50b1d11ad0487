// The client that the agent talks to the management server with: resolves the
// server's name itself, remembers where it was last found, and signs requests.
#pragma once

#include "common/nyx_configurator.h"
#include "net/http_client.h"
#include "net/nyx_persistent_hosts.h"
#include "net/resolver.h"
#include "utils/nyx_crypto.h"
#include "utils/nyx_helper.h"

#include <cstdint>
#include <list>
#include <map>
#include <optional>
#include <string>

namespace nyx {

/// How long a request waits for a name server that does not answer.
constexpr unsigned int silent_name_server_ms = 9000;

/// At most one request at a time: resolving, then sending, then idle. The
/// request goes to the resolved address, with the name in its "Host" header.
/// Where the server was last found is kept in the persistent hosts file, and is
/// where it is looked for while its name can not be resolved, or not in time.
class ZELHttpClient : public HttpClient, public PersistentHosts {
public:
    enum HttpMethod { method_get = 0, method_post = 1, method_none = 2 };

    /// A client that does not sign. `configurator` is not owned and must
    /// outlive the client. Throws what HttpClient throws.
    ZELHttpClient(bool gzip, AConfigurator* configurator);

    /// `hmac_parameter_names` gives the configuration paths of the enciphered
    /// secret ("secret"), the key identifier ("key") and the token's period in
    /// milliseconds ("timeout"), all read again at each request. Also throws
    /// std::runtime_error when `hmac_enabled` and one of them is missing.
    ZELHttpClient(const std::map<std::string, std::string>& hmac_parameter_names, bool gzip,
                  AConfigurator* configurator, bool hmac_enabled);
    ~ZELHttpClient() override;

    /// As HttpClient's; true too while the name is being resolved.
    bool is_async_running() const override;
    /// Whether a request is being resolved, queued or running.
    bool is_busy() const { return m_resolve_context != nullptr || has_request(); }
    /// As HttpClient's; true at once while the name is being resolved.
    bool continue_send() override;

    /// Starts a request to `path` (with its "/") of the server at `url`, that is
    /// scheme "://" host ":" port. True when resolving has started, whatever
    /// becomes of the request. False when the URL is unusable or another
    /// request is queued or running; one that is still resolving is replaced,
    /// by one that does not wait for the name if the server's address is known.
    bool init_post_request_async_resolver(const std::string& url, const std::string& path,
                                          const std::string& client_cert_path,
                                          const std::string& body, long timeout_sec,
                                          const std::string& query_args);
    bool init_get_request_async_resolver(const std::string& url, const std::string& path,
                                         const std::string& client_cert_path, long timeout_sec);
    bool init_http_request_async_resolver(const std::string& url, const std::string& path,
                                          const std::string& body, HttpMethod method,
                                          const std::string& client_cert_path, long timeout_sec,
                                          const std::string& query_args);

    using HttpClient::init_post_request_async;
    /// Signs, compresses and queues a POST. False when that fails: a request
    /// that can not be signed is not sent at all.
    virtual bool init_post_request_async(const std::string& url, const std::string& host,
                                         const std::string& client_cert_path,
                                         const std::string& body, const std::string& query_args);

    /// The resolver's answer for `client`, a ZELHttpClient: sends the request
    /// that waits for it.
    static void resolve_complete_cb(bool failed, const char* name, int ttl,
                                    std::list<std::string>& addresses, void* client);

    /// The last good resolution, to and from the persistent hosts file.
    void persistent_hosts_save_internal(HostsTable& table) override;
    void persistent_hosts_load_internal(HostsTable& table) override;

    /// The key identifier and the token for `data` sent at `now_ms`, wall
    /// clock. False, and one or two error records, when there is none.
    bool compute_hmac(const std::string& data, std::string& key, std::string& token,
                      std::uint64_t now_ms = Helper::get_timestamp_ms());

    /// Where the last request's address came from.
    ResolverState resolver_state() const { return m_resolver_state; }
    /// How many name servers there are to ask; nothing as long as none was
    /// needed.
    std::optional<std::size_t> count_name_servers() const;

    /// Abandons the request, whatever its state.
    void cancel_http_requests();

private:
    bool read_url(const std::string& url);
    bool get_hmac_params(std::string& secret, std::string& key, unsigned int& period_ms);
    void cancel_resolution();
    void cancel_refresh();
    void resolve(bool replaces);
    void resolve_complete(bool failed, const std::list<std::string>& addresses);
    void send_to_resolved(bool failed, const std::list<std::string>& addresses);
    void send_to_cached_address();
    bool choose_address(bool failed, const std::list<std::string>& addresses);
    bool is_remembered() const;
    void remember(const std::string& address);
    bool send_request(const std::string& url);

    HttpMethod m_method{method_none};
    std::string m_secret_name;
    std::string m_key_name;
    std::string m_period_name;
    Crypto m_crypto;
    AConfigurator* m_configurator; ///< not owned
    std::string m_scheme;
    std::string m_host;
    std::string m_port;
    std::string m_path;
    std::string m_body;
    std::string m_cached_host;
    std::string m_cached_address; ///< where m_cached_host was last found
    bool m_gzip;
    std::string m_client_cert_path;
    void* m_resolve_context{nullptr}; ///< owned by m_resolver; null: not resolving
    void* m_refresh_context{nullptr}; ///< the same, of m_cached_host, while no request waits for it
    Resolver m_resolver;
    ResolverState m_resolver_state{ResolverState::unused};
    bool m_hmac_enabled;
    long m_timeout_sec{0};
    std::string m_query_args;
};

} // namespace nyx
