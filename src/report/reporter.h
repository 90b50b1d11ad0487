// The base of every component that builds a report and posts it to the
// management server.
#pragma once

#include "common/nyx_configurator.h"
#include "config/keys.h"
#include "net/zel_http_client.h"
#include "platform/variant/variant.h"
#include "text/result.h"

#include <cstdint>
#include <ctime>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

namespace nyx {

/// What became of the reports so far.
struct SendingOutcome {
    std::time_t last_accepted{0};       ///< wall clock; 0: none was
    std::uint32_t failures_in_a_row{0}; ///< since then
    std::string last_failure;           ///< why the last of those failed
};

/// Starts one asynchronous POST at a time and answers whether it got through.
/// Loop thread only.
class Reporter {
public:
    /// `configurator` is not owned and read at every send; `hmac_params` gives
    /// the configuration keys that signing needs (see ZELHttpClient);
    /// `report_path` is appended to the server's address. Throws what the
    /// client's construction throws.
    Reporter(AConfigurator* configurator, const std::map<std::string, std::string>& hmac_params,
             std::string report_path);
    Reporter(const Reporter&) = delete;
    Reporter& operator=(const Reporter&) = delete;
    virtual ~Reporter() = default;

    /// The PEM client certificate with its key; empty for none.
    virtual std::string get_client_cert_path() = 0;
    /// The whole report; empty when there is nothing to send. May throw: that
    /// costs this cycle.
    virtual std::string create_report() = 0;
    /// Extra query arguments, without a leading "?" or "&".
    virtual std::string get_query_args() { return {}; }

    /// Makes a report (unless this is a resend of the last one) and starts to
    /// post it. True when that was started, or when there was nothing to send.
    /// What goes wrong, memory that runs out included, is logged and costs this send.
    bool send_report_async(bool resend);
    /// Posts the last report again.
    bool resend_report_async() { return send_report_async(true); }

    /// A resolution or a transfer is in progress.
    bool is_running() { return m_client.is_async_running(); }
    /// Drives the transfer; to be called from a timer. False when it failed.
    bool continue_send_report();
    /// The last send ended with HTTP status 200, or had nothing to send.
    bool is_report_sent() const { return m_empty_report || m_client.is_request_succeeded(); }
    /// When a report got through last; 0 for never.
    std::time_t get_last_successful_report_sent() const { return m_client.get_last_success_time(); }

    /// What became of the reports, and the client that sends them.
    const SendingOutcome& outcome() const { return m_outcome; }
    const ZELHttpClient& client() const { return m_client; }
    /// Has `hook` called after the end of each report, good or bad.
    void set_on_end(std::function<void()> hook) { m_on_end = std::move(hook); }

    /// The JSON under "Monitoring.zel_meta_data" of `configurator`. Throws
    /// std::runtime_error when it is missing or malformed.
    static libvariant::Variant get_zel_metadata(AConfigurator& configurator);

private:
    struct Destination {
        std::string url;
        long timeout_sec{};
    };

    text::Outcome start_sending(bool resend);
    text::Result<Destination> read_destination() const;
    text::Outcome make_report();
    void settle();
    void report_ended(std::string_view failure);
    void check_client_cert(const std::string& path);

    AConfigurator* m_configurator;
    ZELHttpClient m_client;
    const char* m_url_key{config::key::zel_report_url};
    std::string m_report_path;
    const char* m_timeout_key{config::key::zel_http_client_timeout_sec};
    std::string m_body;
    bool m_empty_report{false};
    bool m_under_way{false}; ///< a report was started and has not ended
    SendingOutcome m_outcome;
    std::function<void()> m_on_end;
    bool m_cert_warned{false}; ///< an unreadable certificate is told of once
};

} // namespace nyx
