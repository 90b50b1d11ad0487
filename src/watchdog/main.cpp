// vos_watchdog: the supervisor of vos_monitor.
#include "common/libevent_messages.h"
#include "common/nyx_libevent.h"
#include "common/nyx_logging.h"
#include "event/sigchild.h"
#include "event/signal_watch.h"
#include "platform/file/standard_descriptors.h"
#include "platform/ipc/ipc.h"
#include "platform/logger/sup_logger.h"
#include "utils/dual_nyx_helper.h"
#include "watchdog/settings.h"
#include "watchdog/supervisor.h"

#include <sys/stat.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using namespace vos_watchdog;

/// exit_terminated is apart from exit_done, so that a service manager that
/// starts an ended supervisor again can leave one down that an operator ended.
enum : int { exit_done = 0, exit_failed = 1, exit_usage = 2, exit_terminated = 30 };

constexpr const char* usage = "usage: vos_watchdog [--config FILE]\n\n"
                              "Starts vos_monitor in this folder and keeps it running.\n\n"
                              "  --config FILE   configuration with the section \"Watchdog\"\n"
                              "                  (default: vos.conf in this folder)\n"
                              "  --help          this text\n"
                              "  --version       the version\n\n"
                              "Exit status: 0 ended by SIGTERM or SIGINT, 1 could not start,\n"
                              "2 wrong usage, 30 ended by vosctl terminate\n";

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Watchdog");
    return instance;
}

/// The directory of the sockets, for a machine that has none yet.
void make_ipc_directory()
{
    constexpr mode_t owner_writes = 0755;
    if (::mkdir(ipc_dir().c_str(), owner_writes) != 0 && errno != EEXIST)
        throw std::runtime_error("can not make " + ipc_dir() + ": " + std::strerror(errno));
}

std::string daemon_path()
{
    return std::filesystem::read_symlink("/proc/self/exe").replace_filename("vos_monitor").string();
}

void stop(Supervisor& supervisor, int signal)
{
    logger().info("signal ", signal, ", ending the daemon");
    supervisor.shut_down();
}

/// The exit status.
int run_loop(const Settings& settings, nyx::NYXEventBase& base)
{
    Supervisor supervisor(settings, daemon_path());
    nyx::SignalWatch watches[] = {{SIGTERM, [&] { stop(supervisor, SIGTERM); }},
                                  {SIGINT, [&] { stop(supervisor, SIGINT); }},
                                  {SIGCHLD, [] { nyx::sigchild_handler(SIGCHLD, 0, nullptr); }}};
    for (auto& watch : watches)
        if (!watch.start())
            throw std::runtime_error("can not watch for signals");
    supervisor.start();
    base.dispatch();
    return supervisor.is_terminated() ? exit_terminated : exit_done;
}

int run(const std::string& config)
{
    nyx::AConfigurator configurator(config.c_str(), false);
    const auto settings = read_settings(configurator);
    auto logging = nyx_logging_init_cfg_and_watch(&configurator, settings.log_settings_key.c_str());
    route_libevent_messages();
    logger().info("supervisor version ", nyx_utils::DualNYXHelper::get_nyx_version_num());
    // A terminal that goes away, or a tool that does not wait for its answer,
    // must not take the node's monitoring with it.
    std::signal(SIGHUP, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    int status = exit_done;
    nyx::NYXEventBase base;
    try {
        make_ipc_directory();
        base.init();
        status = run_loop(settings, base);
        logger().info("supervisor ended");
    } catch (const std::exception& error) {
        logger().fatal(error.what());
        std::cerr << "vos_watchdog: " << error.what() << '\n';
        status = exit_failed;
    }
    nyx_logging_and_watch_fini(std::move(logging));
    return status;
}

/// Reads the command line; a status says that the program is to end with it.
std::optional<int> read_arguments(const std::vector<std::string>& arguments, std::string& config)
{
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        if (arguments[i] == "--help") {
            std::cout << usage;
            return exit_done;
        }
        if (arguments[i] == "--version") {
            std::cout << "vos_watchdog " << nyx_utils::DualNYXHelper::get_nyx_version_num() << '\n';
            return exit_done;
        }
        if (arguments[i] == "--config" && i + 1 < arguments.size()) {
            config = arguments[++i];
            continue;
        }
        std::cerr << "vos_watchdog: can not use \"" << arguments[i] << "\"\n" << usage;
        return exit_usage;
    }
    return std::nullopt;
}

} // namespace

int main(int argc, char** argv)
{
    platform::open_standard_descriptors();
    try {
        std::string config = "vos.conf";
        if (const auto status = read_arguments({argv + 1, argv + argc}, config))
            return *status;
        return run(config);
    } catch (const std::exception& error) {
        std::cerr << "vos_watchdog: " << nyx::configuration_error_text(error) << '\n';
        return exit_failed;
    }
}
