#include "report/reporter.h"

#include "platform/logger/sup_logger.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <new>
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
    m_empty_report = false;
    if (m_under_way && !m_client.is_busy())
        settle(); // it came to nothing before the timer looked
    text::Outcome started = text::done();
    try {
        started = start_sending(resend);
    } catch (const std::exception& error) {
        logger().error("send_report_async: not sent: ", error.what());
        report_ended(error.what());
        return false;
    }
    if (m_empty_report)
        return true;
    if (!started)
        report_ended(started.reason());
    else if (std::exchange(m_under_way, true))
        report_ended("the next one took its place before the server's name was resolved");
    return static_cast<bool>(started);
}

/// Done as well when there was nothing to send.
text::Outcome Reporter::start_sending(bool resend)
{
    const auto destination = read_destination();
    if (!destination)
        return text::Failure{destination.reason()};
    if (auto made = resend ? text::done() : make_report(); !made)
        return made;
    if (m_body.empty()) {
        logger().debug("Not sending empty report");
        m_empty_report = true;
        return text::done();
    }
    if (logger().is_debug_enabled())
        logger().getStream(LogLevel::debug).keep_lines() << "Report body: \n" << m_body;
    const auto query_args = get_query_args();
    const auto client_cert = get_client_cert_path();
    check_client_cert(client_cert);
    if (m_client.init_post_request_async_resolver(destination->url, m_report_path, client_cert,
                                                  m_body, destination->timeout_sec, query_args))
        return text::done();
    return text::Failure{m_client.is_busy() ? "the one before is still under way"
                                            : std::string(m_url_key) + " is unusable"};
}

bool Reporter::continue_send_report()
{
    const bool moved = m_client.continue_send();
    if (m_under_way && !is_running())
        settle();
    return moved;
}

/// What was under way has ended. The client's flag alone would not do: it still
/// tells of the last one when a report never came to be transferred.
void Reporter::settle()
{
    m_under_way = false;
    const auto& failure = m_client.get_failure();
    if (failure.empty() && !m_client.is_request_succeeded())
        report_ended("the transfer failed");
    else
        report_ended(failure);
}

/// Empty `failure`: the report was accepted. What it was is not worth a crash
/// when memory has run out.
void Reporter::report_ended(std::string_view failure)
{
    if (failure.empty()) {
        m_outcome.last_accepted = m_client.get_last_success_time();
        m_outcome.failures_in_a_row = 0;
    } else {
        ++m_outcome.failures_in_a_row;
    }
    try {
        m_outcome.last_failure = failure;
    } catch (const std::bad_alloc&) {
        m_outcome.last_failure.clear();
    }
    if (m_on_end)
        m_on_end();
}

/// Both settings are read at every send, so that a reload counts at once.
text::Result<Reporter::Destination> Reporter::read_destination() const
{
    Destination destination;
    int timeout = 0;
    const char* missing = nullptr;
    if (!m_configurator->config.lookupValue(m_url_key, destination.url))
        missing = m_url_key;
    else if (!m_configurator->config.lookupValue(m_timeout_key, timeout))
        missing = m_timeout_key;
    if (missing != nullptr) {
        logger().error("send_report_async: missing configuration value: ", missing);
        return text::Failure{std::string("the configuration lacks ") + missing};
    }
    destination.timeout_sec = timeout;
    return destination;
}

text::Outcome Reporter::make_report()
{
    try {
        m_body = create_report();
        return text::done();
    } catch (const std::exception& error) {
        logger().error("send_report_async: no report this time: ", error.what());
        return text::Failure{std::string("no report could be made: ") + error.what()};
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
    if (!configurator.config.lookupValue(config::key::zel_meta_data, text)) {
        const char* failure = "Couldn't read ZEL meta data from configuration file ";
        logger().error(failure);
        throw std::runtime_error(failure);
    }
    return libvariant::read_json(text);
}

} // namespace nyx
