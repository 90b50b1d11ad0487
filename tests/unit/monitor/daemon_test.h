// The daemon's state, with a configuration of its own and a reporter that sends nothing.
#pragma once

#include "event/socket_watch.h"
#include "event/timer.h"
#include "monitor/control_messages.h"
#include "monitor/monitor.h"
#include "monitor/scheduling.h"
#include "platform/file/unique_fd.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sys/eventfd.h>
#include <sys/socket.h>

#include <functional>
#include <memory>
#include <string>

using namespace nyx_monitor;

struct FakeReporter : nyx::Reporter {
    explicit FakeReporter(nyx::AConfigurator& store)
        : Reporter(&store, {{"secret", "none"}, {"key", "none"}, {"timeout", "none"}}, "")
    {
    }
    std::string get_client_cert_path() override { return ""; }
    std::string create_report() override { return on_report(); }
    std::function<std::string()> on_report = [] { return ""; };
};

class DaemonTest : public testing::Test {
protected:
    DaemonTest()
    {
        if (!nyx::NYXEventBase::is_initialized())
            daemon.event_base.init(); // and stays to the end, as in the daemon
        nyx::TheConfigurator::set_configurator(daemon.configurator = &store);
        daemon.logging = std::make_unique<NyxLoggingHandle>(NyxLoggingHandle{&store, "no_log"});
        daemon.reporter = std::make_unique<FakeReporter>(store);
        int ends[2] = {-1, -1};
        EXPECT_EQ(::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_NONBLOCK, 0, ends), 0);
        daemon.ipc_fd = ends[0];
        supervisor.reset(ends[1]);
    }
    ~DaemonTest() override
    {
        schedule_timer().del(false);
        send_timer().del(false);
        message_check().del(false);
        close_supervisor_link();
        daemon.reporter.reset();
        nyx::TheConfigurator::set_configurator(nullptr);
    }

    /// Runs `act` in the loop; the others that ran: one that was ready then, one a turn later.
    std::string run_in_loop(const std::function<void()>& act)
    {
        std::string ran;
        nyx::Timer later([&] { ran += "later", nyx::NYXEventBase::loop_exit(); });
        nyx::Timer ready([&] { ran += "ready ", later.charge(std::chrono::milliseconds(0)); });
        const platform::UniqueFd readable(::eventfd(1, EFD_NONBLOCK)); // comes before timers
        nyx::SocketWait first([&](auto) { act(); });
        EXPECT_TRUE(first.await(readable.get()) && ready.charge(std::chrono::milliseconds(0)));
        daemon.event_base.dispatch();
        return ran;
    }

    Monitor& daemon = monitor();
    platform::UniqueFd supervisor; ///< its end of the link
    TempFolder folder;
    nyx::AConfigurator store{folder.write("vos.conf", "").c_str(), false};
    CapturedLog log;
};
