#include "unit/monitor/daemon_test.h"

namespace {

class Scheduling : public DaemonTest {
protected:
    void configure(const std::string& monitoring, const std::string& general)
    {
        folder.write("vos.conf", "Monitoring:{" + monitoring + "};General:{" + general + "};");
        store.read_file();
    }
};

const std::string rate = "polling_rate_ms=20;";

const struct {
    std::string monitoring, general;
    std::string record;
    std::pair<std::int32_t, std::uint32_t> periods; ///< 7: not read; reporting is off
} cases[] = {
    {"report_freq=1;", rate, "", {1, 20}},
    {"", rate, "Couldn't read reports frequency from conf\n", {7, 7}},
    {"report_freq=\"1\";", rate, "Couldn't read reports frequency from conf\n", {7, 7}},
    {"report_freq=0;", rate, "Reports frequency is 0, not collecting reports.\n", {0, 7}},
    {"report_freq=-5;", rate, "Reports frequency is -5, not collecting reports.\n", {-5, 7}},
    {"report_freq=1;", "", "Missing configuration for General.polling_rate_ms\n", {1, 7}},
    {"report_freq=1;",
     "polling_rate_ms=-5;",
     "General.polling_rate_ms is -5; it counts as 10\n",
     {1, 10}},
};

TEST_F(Scheduling, takes_its_periods_from_the_configuration_or_says_why_it_is_off)
{
    for (const auto& [monitoring, general, record, periods] : cases) {
        configure(monitoring, general);
        daemon.report_freq_ms = 7;
        daemon.polling_rate_ms = 7;
        const CapturedLog one;
        EXPECT_EQ(verify_vos_monitor_conf(), periods.second != 7) << monitoring << general;
        EXPECT_EQ(one.text(), record);
        EXPECT_EQ(std::pair(daemon.report_freq_ms, daemon.polling_rate_ms), periods) << record;
    }
    const std::string missing = ", which does not fit 31 bits; it counts as missing\n";
    for (const auto& [written, taken, said] : {std::tuple("10", 10, std::string()),
                                               {"0x9", 10, "; it counts as 10\n"},
                                               {"0x80000000", 7, missing},
                                               {"3000000000L", 7, missing}}) {
        configure("report_freq=1;", rate + "message_check_timeout_ms=" + written + ";");
        int check = 7;
        const CapturedLog one;
        EXPECT_TRUE(verify_vos_monitor_conf());
        store.config.lookupValue("General.message_check_timeout_ms", check);
        EXPECT_EQ(check, taken) << written;
        EXPECT_TRUE(one.text().ends_with(written + said) || one.text() == said) << one.text();
    }
    std::filesystem::remove(folder.file("vos.conf"));
    EXPECT_TRUE(verify_vos_monitor_conf()) << "the tree stays without its file";
}

TEST_F(Scheduling, the_period_counts_from_start_to_start_whatever_becomes_of_the_report)
{
    configure("", "zel_report_url=\"\";zel_http_client_timeout_sec=1;");
    auto& reporter = static_cast<FakeReporter&>(*daemon.reporter);
    int armed = 0;
    reporter.on_report = [&] { return armed += schedule_timer().is_pending() ? 1 : 0, ""; };
    for (const int period : {0, -1, 60000}) {
        daemon.report_freq_ms = period;
        vos_monitor_schedule_et(-1, 0, nullptr);
        EXPECT_EQ(armed, period > 0 ? 1 : 0) << "armed before a report that may take long";
        EXPECT_EQ(schedule_timer().is_pending(), period > 0);
    }
    reporter.on_report = []() -> std::string { throw std::runtime_error("no figures"); };
    vos_monitor_schedule_et(-1, 0, nullptr);
    EXPECT_EQ(log.count("Failed sending report\n"), 1);
    send_reports(-1, 0, nullptr);
    EXPECT_TRUE(schedule_timer().is_pending() && send_timer().is_pending());
}

TEST_F(Scheduling, a_reload_arms_idle_timers_leaves_pending_ones_and_ends_both)
{
    for (const int period : {60000, 1000, 0}) {
        configure("report_freq=" + std::to_string(period) + ";", "polling_rate_ms=10;");
        reconf_handler_cb();
        EXPECT_EQ(schedule_timer().is_pending(), period != 0);
        EXPECT_EQ(send_timer().is_pending(), period != 0);
    }
    EXPECT_EQ(log.count("Rescheduling health reports\n"), 1);
    EXPECT_EQ(log.count("Rescheduling report send\n"), 1);
    EXPECT_EQ(log.count("Event was recharged"), 0);
    EXPECT_TRUE(log.contains("Configuration does not allow sending reports\n"
                             "Event removed\nEvent removed\n"));
    EXPECT_EQ(log.count("missing configuration value: no_log"), 3) << "log settings, each time";
}

} // namespace
