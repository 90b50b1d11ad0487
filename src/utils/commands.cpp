#include "utils/commands.h"

#include "common/nyx_configurator.h"
#include "config/keys.h"
#include "platform/file/while_waiting.h"
#include "platform/process/builtin_commands.h"

#include <cstddef>
#include <utility>

namespace nyx_utils {

namespace {

/// "Monitoring.builtin_commands"; asked each time, so that a reload counts.
bool builtins_enabled()
{
    bool enabled = config::default_builtin_commands;
    if (nyx::TheConfigurator::is_installed())
        nyx::TheConfigurator::get_configuration().config.lookupValue(config::key::builtin_commands,
                                                                     enabled);
    return enabled;
}

} // namespace

platform::CommandResult run_command(const std::string& command, platform::CommandOutput collect)
{
    platform::while_waiting();
    if (builtins_enabled())
        if (auto result = platform::builtin_commands().answer(command))
            return std::move(*result);
    return platform::run_program(command, collect);
}

bool prepare_commands()
{
    constexpr std::size_t names = 1000; // takes some milliseconds
    return !builtins_enabled() || platform::builtin_commands().processes().prepare(names);
}

} // namespace nyx_utils
