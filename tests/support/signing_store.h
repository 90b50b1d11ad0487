// A configuration with what signing a report takes, and the files it names.
#pragma once

#include "common/nyx_configurator.h"
#include "platform/crypto/sealed_secret.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <optional>
#include <string>

/// The process's configuration as long as it lives: signs with "topsecret"
/// under the key "dc1", period 30 s.
struct SigningStore {
    /// Further settings of the group General, and further groups.
    explicit SigningStore(const std::string& general = "", const std::string& groups = "")
    {
        EXPECT_TRUE(platform::create_key_file(folder.file("key")));
        program_invocation_name = program.data(); // the hosts file lies beside it
        const auto sealed =
            *platform::seal_secret(*platform::read_key_file(folder.file("key")), "topsecret");
        const auto text = "General:{hmac_key_file=\"" + folder.file("key") + "\";hmac_secret=\"" +
                          sealed + "\";datacenter_id=\"dc1\";hmac_timeout=30000;" + general + "};";
        conf.emplace(folder.write("vos.conf", text + groups).c_str(), false);
        nyx::TheConfigurator::set_configurator(&*conf);
    }
    ~SigningStore()
    {
        nyx::TheConfigurator::set_configurator(nullptr);
        program_invocation_name = program_before;
    }
    void remove(const char* general) { conf->config.lookup("General").remove(general); }

    TempFolder folder;
    std::string program = folder.file("prog");
    char* const program_before = program_invocation_name;
    std::optional<nyx::AConfigurator> conf;
    const std::map<std::string, std::string> names{{"secret", "General.hmac_secret"},
                                                   {"key", "General.datacenter_id"},
                                                   {"timeout", "General.hmac_timeout"}};
};
