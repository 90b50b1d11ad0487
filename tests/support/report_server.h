// examples/report_server.py as a child process, and the owner's timer.
#pragma once

#include "net/http_client.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>
#include <thread>

inline void pause_ms(int milliseconds)
{
    std::this_thread::sleep_for(std::chrono::milliseconds(milliseconds));
}

/// Accepts reports signed with "topsecret" under the key "dc1", period 30 s.
struct ReportServer {
    explicit ReportServer(bool tls = true, const std::string& options = "")
        : scheme(tls ? "https" : "http")
    {
        const std::string make_certificate =
            "openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -days 2 "
            "-subj /CN=zel.example -keyout key -out cert 2>&- && cat key >>cert && ";
        const std::string command =
            "cd " + folder.path() + " && " + (tls ? make_certificate : "") +
            "exec python3 " VOS_FIXTURES "/../../examples/report_server.py --secret topsecret "
            "--key-id dc1 --period 30000 --keep . --fault fault --port-file port" +
            (tls ? " --cert cert" : "") + options;
        ::setenv("no_proxy", "*", 1);
        pid = ::fork();
        if (pid == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            ::execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
            ::_exit(127);
        }
        for (int i = 0; i < 1000 && folder.read("port").empty(); ++i)
            pause_ms(10);
        EXPECT_FALSE(folder.read("port").empty()) << "the server did not start";
    }
    ~ReportServer()
    {
        int status = -1;
        ::kill(pid, SIGTERM);
        ::waitpid(pid, &status, 0);
        EXPECT_EQ(status, 0);
    }
    std::string url(const std::string& host = "127.0.0.1") const
    {
        return scheme + "://" + host + ":" + std::to_string(std::stoi(folder.read("port")));
    }
    void misbehave(const std::string& how) const { folder.write("fault", how); }

    TempFolder folder; ///< with the accepted reports
    std::string scheme;
    pid_t pid{-1};
};

/// Drives the client as its owner's timer does; returns the number of steps.
inline int drive(nyx::HttpClient& client, int step_ms = 10)
{
    int steps = 0;
    do {
        pause_ms(step_ms);
        EXPECT_TRUE(client.continue_send());
    } while (++steps < 2000 && client.is_async_running());
    EXPECT_FALSE(client.is_async_running());
    return steps;
}
