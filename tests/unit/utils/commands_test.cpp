#include "utils/commands.h"

#include "common/nyx_configurator.h"
#include "platform/file/while_waiting.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <unistd.h>

using nyx_utils::run_command;

TEST(Commands, the_configuration_switches_them_and_a_reload_counts)
{
    const TempFolder folder;
    const auto own = "/usr/bin/pgrep -P " + std::to_string(::getpid()) + " -l";
    const auto path = folder.write("vos.conf", "Monitoring = { builtin_commands = true; };");
    nyx::AConfigurator conf(path.c_str(), false);
    nyx::TheConfigurator::set_configurator(&conf);
    int calls = 0; // one before each command, and more while a program runs
    const platform::WorkWhileWaiting work([&calls] { ++calls; });
    EXPECT_EQ(run_command(own, platform::CommandOutput::with_errors).exit_code, 1);
    EXPECT_EQ(calls, 1);
    folder.write("vos.conf", "");
    conf.reload_configuration();
    EXPECT_EQ(run_command(own, platform::CommandOutput::with_errors).exit_code, 1);
    EXPECT_GT(calls, 2);
    nyx::TheConfigurator::set_configurator(nullptr);
}
