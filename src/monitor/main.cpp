// vos_monitor: start-up, the loop, and shutdown as the same list backwards.
#include "common/libevent_messages.h"
#include "common/nyx_dispatch.h"
#include "common/nyx_random.h"
#include "config/keys.h"
#include "monitor/control_messages.h"
#include "monitor/keepalive.h"
#include "monitor/monitor.h"
#include "monitor/scheduling.h"
#include "monitor/signals.h"
#include "platform/file/standard_descriptors.h"
#include "platform/file/while_waiting.h"
#include "platform/ipc/ipc.h"
#include "platform/logger/gathered_records.h"
#include "platform/memprof/memprof.h"
#include "platform/memprof/startup_pages.h"
#include "platform/process/held_signal.h"
#include "platform/shared_memory/shared_object.h"
#include "report/health_document.h"
#include "report/health_reporter.h"
#include "utils/dual_nyx_helper.h"

#include <malloc.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <iostream>
#include <map>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

namespace {

using nyx_monitor::monitor;
using nyx_monitor::monitor_logger;

constexpr const char* program_name = "vos_monitor";
constexpr const char* ipc_family = "vos";
constexpr const char* log_settings_key = config::key::log_config_file;
constexpr const char* id_key = config::key::vos_id;
constexpr int exit_bad_start = 1;
constexpr int exit_unknown = 2;

/// Where signing finds its settings.
const std::map<std::string, std::string>& hmac_params()
{
    static const std::map<std::string, std::string> params{{"secret", config::key::hmac_secret},
                                                           {"key", config::key::datacenter_id},
                                                           {"timeout", config::key::hmac_timeout}};
    return params;
}

bool look_up(const char* key, std::string& value)
{
    return monitor().configurator->config.lookupValue(key, value);
}

std::string required(const char* key, const char* failure)
{
    std::string value;
    if (!look_up(key, value))
        throw std::runtime_error(failure);
    return value;
}

/// False, and the reason on standard output, when there is nothing to log with.
bool configure()
{
    try {
        static nyx_monitor::VOSMonitorConfigurator configurator;
        nyx::TheConfigurator::set_configurator(&configurator);
        monitor().configurator = &configurator;
        required(log_settings_key, "Cannot find VOS monitor log file in configuration");
        monitor().logging = nyx_logging_init_cfg_and_watch(&configurator, log_settings_key);
        return true;
    } catch (const std::exception& error) {
        std::cout << "VOS monitor failed to init configuration and logging : "
                  << nyx::configuration_error_text(error) << std::flush;
        return false;
    }
}

void create_event_base()
{
    constexpr int levels = 2;
    auto& base = monitor().event_base;
    base.init();
    base.set_event_base_priorities(levels);
    // A base without queues, which lack of memory leaves, would abort at its first event.
    if (base.get_event_base_priorities() != levels)
        throw std::runtime_error("Failed to give the event base its priorities.");
}

void start_keep_alive()
{
    monitor_logger().info("Starting watchdog keep alive mechanism");
    nyx::KeepAlive::instance()->init(0, program_name, program_name);
}

bool check_identity(std::string& vos_id)
{
    if (look_up(id_key, vos_id))
        return true;
    monitor_logger().fatal("Couldn't find critical configuration parameter: ", id_key);
    monitor_logger().fatal("Failed to start VOS monitor. Exiting");
    return false;
}

/// The supervisor's death is to be the daemon's too.
void die_with_parent()
{
    if (::prctl(PR_SET_PDEATHSIG, SIGKILL) != 0)
        monitor_logger().error("Failed to assign death signal with parent ", ::getppid(), " (",
                               std::strerror(errno), ")");
}

/// Without a supervisor the daemon goes on all the same.
void open_supervisor_link(const std::string& vos_id)
{
    auto& fd = monitor().ipc_fd;
    if (start_socket_nyx(&fd, vos_id.c_str(), program_name, ipc_family) == 0)
        nyx::IDispatch::setup(fd, vos_id);
    else
        monitor_logger().error("init_ipc: IPC socket initialization failed.");
}

void create_reporter()
{
    const auto path =
        required(config::key::report_path, "Cannot find health report path in configuration");
    required(id_key, "Cannot find my id in configuration");
    required(config::key::vos_public_ip, "Cannot find my external IP in configuration");
    monitor().reporter =
        std::make_unique<VOSHealthReporter>(monitor().configurator, hmac_params(), path);
    monitor().reporter->set_on_end([] { monitor().node_status.status_changed(); });
}

void arm_first_timers()
{
    if (nyx_monitor::verify_vos_monitor_conf()) {
        nyx_monitor::charge_schedule_timer(0);
        nyx_monitor::charge_send_timer(0);
    }
    // A first measurement now, so that the first report has one to compare with.
    processes_manager().calculate_processes_performance(
        ProcessesManager::get_allowed_processes(true));
    nyx_monitor::charge_msgchk();
    monitor().node_status.status_changed();
}

/// A node of thousands of interfaces has reports of megabytes. Their texts are
/// to go back to the kernel when they are freed; left to itself the allocator
/// would soon take them from the heap, and the heap would stay as large.
void map_large_blocks()
{
    constexpr int large = 256 * 1024;
    ::mallopt(M_MMAP_THRESHOLD, large);
}

void shut_down()
{
    monitor_logger().info("VOS monitor terminating ...");
    monitor().reporter.reset();
    nyx_monitor::message_check().del(false);
    nyx_monitor::close_supervisor_link();
    monitor_logger().info("VOS has monitor successfully stopped");
    nyx_logging_and_watch_fini(std::move(monitor().logging));
}

/// All that comes before the loop; false when the identity is missing. A
/// SIGTERM that comes meanwhile cuts the first measurement short, and is the
/// loop's first work.
bool start()
{
    auto& log = monitor_logger();
    log.info("Starting VOS monitor ...");
    create_event_base();
    start_keep_alive();
    const platform::HeldSignal ending(SIGTERM);
    nyx_monitor::add_signal_events();
    std::srand(static_cast<unsigned>(nyx::nyx_random()));
    std::string vos_id;
    if (!check_identity(vos_id))
        return false;
    log.info("Setting NYX mode to be false");
    nyx_utils::DualNYXHelper::instance(false);
    die_with_parent();
    open_supervisor_link(vos_id);
    mp_enable();
    log.info("VOS monitor has successfully started");
    create_reporter();
    arm_first_timers();
    release_startup_pages();
    return true;
}

int run()
{
    // Finding the processes of a large machine takes seconds, a command each; a reload
    // waits for whoever is writing the file; and each write for a disk that is slow.
    const platform::WorkWhileWaiting work([] {
        GatheredRecords::write_old();
        nyx::KeepAlive::instance()->send_when_due();
    });
    if (!start())
        return exit_bad_start;
    monitor().event_base.dispatch();
    nyx_monitor::hold_signals();
    shut_down();
    return 0;
}

/// Memory may run out where nothing can be thrown: a JSON tree allocates while it
/// goes. That ends the daemon as any error does that nobody handled; what else
/// gets here is a bug, and leaves a core.
[[noreturn]] void on_terminate()
{
    try {
        if (const auto error = std::current_exception())
            std::rethrow_exception(error);
    } catch (const std::bad_alloc&) {
        GatheredRecords::rescue();
        std::_Exit(exit_bad_start);
    } catch (...) {
        std::abort();
    }
    std::abort();
}

[[noreturn]] void abort_with(int status)
{
    nyx_monitor::hold_signals();
    monitor().reporter.reset();
    nyx_logging_and_watch_fini(std::move(monitor().logging));
    std::exit(status);
}

} // namespace

int main()
{
    platform::open_standard_descriptors();
    map_large_blocks();
    std::set_terminate(on_terminate);
    if (!configure())
        return exit_bad_start;
    try {
        monitor_logger().info("=============  VOS monitor version  ",
                              nyx_utils::DualNYXHelper::get_nyx_version_num(), "  =============");
        route_libevent_messages();
        nyx::NYXEventBase::enable_debug_mode();
        nyx_utils::shared_mem_enabled = false;
        return run();
    } catch (const std::exception& error) {
        monitor_logger().fatal("Unhandled exception caught:");
        monitor_logger().fatal(error.what());
        monitor_logger().fatal("Aborting.");
        abort_with(exit_bad_start);
    } catch (...) {
        monitor_logger().fatal("Unhandled exception caught. Aborting.");
        abort_with(exit_unknown);
    }
}
