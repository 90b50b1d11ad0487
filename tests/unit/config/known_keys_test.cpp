#include "config/known_keys.h"

#include <gtest/gtest.h>

TEST(KnownKeys, hint_is_the_nearest_path_within_three_letters)
{
    const std::pair<std::string, const char*> cases[] = {
        {"General.vosid", "General.vos_id"},                 // one is missing
        {"General.vos_di", "General.vos_id"},                // two are exchanged
        {"Genral.poling_rat_ms", "General.polling_rate_ms"}, // three are missing
        {"Genral.poling_rat_m", nullptr},                    // four
        {"Watchdog.restart_delay", "Watchdog.restart_delay_ms"},
        {"Monitoring.vos_id", "General.vos_id"}, // the name is right
        {"Watchdog.lg_config_file", "Watchdog.log_config_file"},
        {"", nullptr},
        {std::string(100, 'x') + ".vos_id", nullptr}, // too long to be a slip
    };
    for (const auto& [path, want] : cases)
        EXPECT_STREQ(vosctl::nearest_known_path(path), want) << path;
}
