#include "report/health_reporter.h"

#include "platform/file/temporary_name.h"
#include "support/captured_log.h"
#include "support/signing_store.h"

#include <gtest/gtest.h>

namespace {

TEST(VOSHealthReporter, local_copy_is_kept_where_the_configuration_says)
{
    const TempFolder folder;
    SigningStore store("vos_id=\"n\";vos_public_ip=\"192.0.2.7\";quiet_node=true;"
                       "max_thread_runtime_ms=5000;zel_report_url=\"http://127.0.0.1:1\";"
                       "zel_http_client_timeout_sec=10;",
                       "Monitoring:{local_json_report_path=\"" + folder.file("copy") + "\";};");
    const auto left = platform::temporary_name(folder.write("copy", "old"));
    std::filesystem::copy(folder.file("copy"), left);
    VOSHealthReporter reporter(&*store.conf, store.names, "/report");
    EXPECT_FALSE(std::filesystem::exists(left));
    const auto sent = reporter.create_report();
    const auto copy = folder.read("copy");
    EXPECT_TRUE(copy.ends_with("}\n"));
    EXPECT_NE(copy, sent + "\n") << "it has all digits";
    EXPECT_EQ(HealthDocument::transmitted_text(libvariant::read_json(copy)), sent);

    const auto move_to = [&](const std::string& path) {
        store.conf->config.lookup("Monitoring.local_json_report_path") = path;
        reporter.reconfigure();
    };
    const auto nowhere = folder.file("none/copy");
    move_to(nowhere);
    EXPECT_FALSE(reporter.send_report_async(false));
    EXPECT_EQ(reporter.outcome().last_failure, "no report could be made: Failed to write " +
                                                   nowhere + ": No such file or directory");
    move_to("");
    std::filesystem::remove(folder.file("copy"));
    EXPECT_TRUE(reporter.create_report().ends_with("}"));
    move_to(folder.file("copy"));
    const CapturedLog log;
    store.conf->config.getRoot().remove("Monitoring");
    reporter.reconfigure();
    EXPECT_TRUE(reporter.create_report().ends_with("}"));
    EXPECT_EQ(log.count("Failed to load path of JSON report file"), 1);
    EXPECT_FALSE(std::filesystem::exists(folder.file("copy")));
}

} // namespace
