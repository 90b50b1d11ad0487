// The signing and packing of ZELHttpClient's requests.
#include "net/zel_http_client.h"
#include "net/zel_request.h"
#include "platform/logger/sup_logger.h"

namespace nyx {

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("ZELHttpClient");
    return instance;
}

} // namespace

bool ZELHttpClient::init_post_request_async(const std::string& url, const std::string& host,
                                            const std::string& client_cert_path,
                                            const std::string& body, const std::string& query_args)
{
    std::optional<Signature> signature;
    if (m_hmac_enabled) {
        signature.emplace();
        if (!compute_hmac(body, signature->key, signature->token)) {
            logger().error("Failed to compute HMAC");
            return false;
        }
    }
    const auto encoded = encode_body(body, m_gzip);
    if (m_gzip && !encoded.gzip)
        logger().warning("Failed gzipping buffer. Sending as plain text");
    return init_post_request_async(build_post_url(url, signature, query_args), host,
                                   client_cert_path, encoded.bytes, encoded.gzip, m_timeout_sec);
}

bool ZELHttpClient::get_hmac_params(std::string& secret, std::string& key, unsigned int& period_ms)
{
    const auto found = [this](const std::string& name, auto& value, const char* suffix) {
        if (m_configurator->config.lookupValue(name, value))
            return true;
        logger().error("get_hmac_params: Couldn't get HMAC ", name, suffix);
        return false;
    };
    return found(m_secret_name, secret, "  parameter") && found(m_key_name, key, " parameter") &&
           found(m_period_name, period_ms, " parameter");
}

bool ZELHttpClient::compute_hmac(const std::string& data, std::string& key, std::string& token,
                                 std::uint64_t now_ms)
{
    std::string enciphered;
    unsigned int period_ms = 0;
    if (!get_hmac_params(enciphered, key, period_ms) || enciphered.empty() || key.empty() ||
        period_ms == 0) {
        logger().error("compute_hmac: Not enough parameters for HMAC");
        return false;
    }
    const auto secret = m_crypto.decrypt(enciphered);
    if (secret.empty()) {
        logger().error("compute_hmac: Couldn't decode HMAC secret");
        return false;
    }
    token = m_crypto.hmac(string_to_sign(data, now_ms, period_ms), secret, Crypto::sha256);
    return !token.empty();
}

} // namespace nyx
