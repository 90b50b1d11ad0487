#include "report/reporter.h"

#include "platform/logger/sup_logger.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <utility>

namespace nyx {

namespace {

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Reporter");
    return instance;
}

} // namespace

Reporter::Reporter(AConfigurator* configurator,
                   const std::map<std::string, std::string>& hmac_params, std::string report_path)
    : m_configurator(configurator), m_client(hmac_params, false, configurator, true),
      m_report_path(std::move(report_path))
{
}

bool Reporter::send_report_async(bool resend)
{
    try {
        return start_sending(resend);
    } catch (const std::exception& error) {
        logger().error("send_report_async: not sent: ", error.what());
        return false;
    }
}

bool Reporter::start_sending(bool resend)
{
    m_empty_report = false;
    std::string url;
    long timeout_sec = 0;
    if (!read_destination(url, timeout_sec))
        return false;
    if (!resend && !make_report())
        return false;
    if (m_body.empty()) {
        logger().debug("Not sending empty report");
        m_empty_report = true;
        return true;
    }
    if (logger().is_debug_enabled())
        logger().getStream(LogLevel::debug).keep_lines() << "Report body: \n" << m_body;
    const auto query_args = get_query_args();
    const auto client_cert = get_client_cert_path();
    check_client_cert(client_cert);
    return m_client.init_post_request_async_resolver(url, m_report_path, client_cert, m_body,
                                                     timeout_sec, query_args);
}

/// Both settings are read at every send, so that a reload counts at once.
bool Reporter::read_destination(std::string& url, long& timeout_sec) const
{
    int timeout = 0;
    const char* missing = nullptr;
    if (!m_configurator->config.lookupValue(m_url_key, url))
        missing = m_url_key;
    else if (!m_configurator->config.lookupValue(m_timeout_key, timeout))
        missing = m_timeout_key;
    if (missing != nullptr)
        logger().error("send_report_async: missing configuration value: ", missing);
    timeout_sec = timeout;
    return missing == nullptr;
}

bool Reporter::make_report()
{
    try {
        m_body = create_report();
        return true;
    } catch (const std::exception& error) {
        logger().error("send_report_async: no report this time: ", error.what());
        return false;
    }
}

/// With a certificate that it can not read libcurl fails every transfer, and
/// its message does not name the file.
void Reporter::check_client_cert(const std::string& path)
{
    const bool readable = path.empty() || ::access(path.c_str(), R_OK) == 0;
    if (!readable && !m_cert_warned)
        logger().warning("send_report_async: client certificate ", path, " can not be read (",
                         std::strerror(errno), "), no report will get through");
    m_cert_warned = !readable;
}

libvariant::Variant Reporter::get_zel_metadata(AConfigurator& configurator)
{
    std::string text;
    if (!configurator.config.lookupValue("Monitoring.zel_meta_data", text)) {
        const char* failure = "Couldn't read ZEL meta data from configuration file ";
        logger().error(failure);
        throw std::runtime_error(failure);
    }
    return libvariant::read_json(text);
}

} // namespace nyx
