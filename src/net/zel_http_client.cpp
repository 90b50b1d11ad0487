#include "net/zel_http_client.h"

#include "platform/logger/sup_logger.h"
#include "text/server_url.h"

#include <exception>
#include <optional>
#include <stdexcept>
#include <utility>

namespace nyx {

namespace {

constexpr int dns_retries = 2;
constexpr unsigned int ns_timeout_ms = 3000;
constexpr unsigned int no_ttl_cap = 0;
static_assert(silent_name_server_ms == (1 + dns_retries) * ns_timeout_ms);

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("ZELHttpClient");
    return instance;
}

std::string value_or_empty(const std::map<std::string, std::string>& values, const char* key)
{
    const auto found = values.find(key);
    return found != values.end() ? found->second : std::string();
}

} // namespace

ZELHttpClient::ZELHttpClient(bool gzip, AConfigurator* configurator)
    : ZELHttpClient({}, gzip, configurator, false)
{
}

ZELHttpClient::ZELHttpClient(const std::map<std::string, std::string>& hmac_parameter_names,
                             bool gzip, AConfigurator* configurator, bool hmac_enabled)
    : HttpClient(false), PersistentHosts("ZELHttpClient"),
      m_secret_name(value_or_empty(hmac_parameter_names, "secret")),
      m_key_name(value_or_empty(hmac_parameter_names, "key")),
      m_period_name(value_or_empty(hmac_parameter_names, "timeout")), m_configurator(configurator),
      m_gzip(gzip), m_resolver(true, dns_retries, ns_timeout_ms, no_ttl_cap),
      m_hmac_enabled(hmac_enabled)
{
    if (hmac_enabled && (m_secret_name.empty() || m_key_name.empty() || m_period_name.empty()))
        throw std::runtime_error("ERROR Missing parameters names for HMAC");
    persistent_hosts_load();
}

ZELHttpClient::~ZELHttpClient()
{
    cancel_resolution();
}

bool ZELHttpClient::is_async_running() const
{
    return m_resolve_context != nullptr || HttpClient::is_async_running();
}

bool ZELHttpClient::continue_send()
{
    return m_resolve_context != nullptr || HttpClient::continue_send();
}

bool ZELHttpClient::init_post_request_async_resolver(const std::string& url,
                                                     const std::string& path,
                                                     const std::string& client_cert_path,
                                                     const std::string& body, long timeout_sec,
                                                     const std::string& query_args)
{
    return init_http_request_async_resolver(url, path, body, method_post, client_cert_path,
                                            timeout_sec, query_args);
}

bool ZELHttpClient::init_get_request_async_resolver(const std::string& url, const std::string& path,
                                                    const std::string& client_cert_path,
                                                    long timeout_sec)
{
    return init_http_request_async_resolver(url, path, "", method_get, client_cert_path,
                                            timeout_sec, "");
}

bool ZELHttpClient::init_http_request_async_resolver(
    const std::string& url, const std::string& path, const std::string& body, HttpMethod method,
    const std::string& client_cert_path, long timeout_sec, const std::string& query_args)
{
    const bool replaces = m_resolve_context != nullptr;
    cancel_resolution();
    if (is_busy()) {
        logger().notice("Request ignored since previous HTTP request is not completed yet");
        return false;
    }
    if (!read_url(url)) {
        logger().error(
            "init_http_request_async_resolver: Couldn't find available ZEL receiver URL");
        return false;
    }
    m_method = method;
    m_path = path;
    m_body = body;
    m_client_cert_path = client_cert_path;
    m_timeout_sec = timeout_sec;
    m_query_args = query_args;
    set_failure("");
    resolve(replaces);
    return true;
}

/// Has the request sent where its host is found. One that `replaces` another
/// that waited for the name in vain would as a rule wait in vain, too: it goes
/// where the host was last found, and the name is resolved for later ones.
void ZELHttpClient::resolve(bool replaces)
{
    if (!is_remembered())
        cancel_refresh();
    if (m_refresh_context == nullptr) {
        logger().debug("HTTP client <", this, "> send DNS request for [", m_host, "]");
        m_resolve_context = m_resolver.getaddrinfo_async(m_host, &resolve_complete_cb, this);
        if (m_resolve_context == nullptr || !replaces || !is_remembered())
            return;
        m_refresh_context = std::exchange(m_resolve_context, nullptr);
    }
    logger().notice("The name servers are slow. Using the last address of [", m_host, "]");
    m_resolver_state = ResolverState::remembered;
    send_to_cached_address();
}

bool ZELHttpClient::read_url(const std::string& url)
{
    auto parts = text::split_server_url(url);
    if (!parts) {
        logger().error("read_url: Failed parsing ZEL URL");
        return false;
    }
    m_scheme = std::move(parts->scheme);
    m_host = std::move(parts->host);
    m_port = std::move(parts->port);
    return true;
}

void ZELHttpClient::resolve_complete_cb(bool failed, const char*, int,
                                        std::list<std::string>& addresses, void* client)
{
    static_cast<ZELHttpClient*>(client)->resolve_complete(failed, addresses);
}

void ZELHttpClient::resolve_complete(bool failed, const std::list<std::string>& addresses)
{
    logger().debug("resolve_complete_cb: Resolve complete for HTTP client <", this, ">");
    m_resolve_context = nullptr;
    const bool is_awaited = std::exchange(m_refresh_context, nullptr) == nullptr;
    try {
        if (is_awaited)
            send_to_resolved(failed, addresses);
        else if (!failed && !addresses.empty())
            remember(addresses.front());
    } catch (const std::exception& error) {
        logger().error("resolve_complete_cb: HTTP client <", this, "> failed: ", error.what());
        if (!is_awaited)
            return;
        set_failure(error.what());
        m_request_succeeded = false;
    }
}

void ZELHttpClient::send_to_resolved(bool failed, const std::list<std::string>& addresses)
{
    if (!choose_address(failed, addresses)) {
        m_request_succeeded = false;
        set_failure("the server's name can not be resolved");
        return;
    }
    send_to_cached_address();
}

void ZELHttpClient::send_to_cached_address()
{
    const auto url = m_scheme + "://" + m_cached_address + ":" + m_port + m_path;
    logger().info("Sending HTTP request to: ", url);
    logger().debug("resolve_complete_cb: Report body length: ", m_body.size());
    if (!send_request(url)) {
        set_failure("the request can not be signed or queued");
        logger().error("resolve_complete_cb: HTTP client <", this, "> failed sending report");
    }
    m_body = {}; // clear() would keep the memory
}

/// Leaves the address to send to in m_cached_address: the first of `addresses`,
/// or the one found for the same host before. False when there is none.
bool ZELHttpClient::choose_address(bool failed, const std::list<std::string>& addresses)
{
    if (!failed && !addresses.empty()) {
        remember(addresses.front());
        m_resolver_state = m_resolver.state();
        return true;
    }
    m_resolver_state = ResolverState::failing;
    logger().error("resolve_complete_cb: Failed to Resolve ZEL URL. Trying to used cached result");
    if (is_remembered()) {
        m_resolver_state = ResolverState::remembered;
        return true;
    }
    logger().error("resolve_complete_cb: No cached resolution. giving up");
    return false;
}

bool ZELHttpClient::is_remembered() const
{
    return m_cached_host == m_host && !m_cached_address.empty();
}

void ZELHttpClient::remember(const std::string& address)
{
    m_cached_host = m_host;
    m_cached_address = address;
    persistent_hosts_save();
}

std::optional<std::size_t> ZELHttpClient::count_name_servers() const
{
    switch (m_resolver_state) {
    case ResolverState::unused:
    case ResolverState::literal:
    case ResolverState::hosts_file:
        return std::nullopt; // nobody has made the list yet, and it is not for us to do so
    default:
        return NSManeger::instance().get_ns_copy().size();
    }
}

void ZELHttpClient::persistent_hosts_save_internal(HostsTable& table)
{
    table[m_cached_host].push_back(m_cached_address);
}

void ZELHttpClient::persistent_hosts_load_internal(HostsTable& table)
{
    if (table.empty())
        return;
    const auto& [host, addresses] = *table.begin();
    m_cached_host = host;
    m_cached_address = addresses.front();
}

bool ZELHttpClient::send_request(const std::string& url)
{
    switch (m_method) {
    case method_get:
        return init_get_request_async(url, m_host, m_client_cert_path, m_timeout_sec);
    case method_post:
        return init_post_request_async(url, m_host, m_client_cert_path, m_body, m_query_args);
    default:
        logger().error("Unsupported HTTP method type: ", m_method);
        return false;
    }
}

void ZELHttpClient::cancel_resolution()
{
    if (m_resolve_context == nullptr)
        return;
    logger().warning("Resolver context already initialized. Canceling previous request");
    m_resolver.cancel_request(m_resolve_context);
    m_resolve_context = nullptr;
    set_failure("it was given up before the server's name was resolved");
}

void ZELHttpClient::cancel_refresh()
{
    if (m_refresh_context != nullptr)
        m_resolver.cancel_request(std::exchange(m_refresh_context, nullptr));
}

void ZELHttpClient::cancel_http_requests()
{
    cancel_resolution();
    cancel_refresh();
    clean_http_requests();
}

} // namespace nyx
