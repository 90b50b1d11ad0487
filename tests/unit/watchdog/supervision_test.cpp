#include "watchdog/supervision.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>

using namespace vos_watchdog;
using std::chrono::milliseconds;

namespace {

std::string text_of(const Decision& decision)
{
    const auto delay = [](const char* name, std::optional<milliseconds> time) {
        return time ? name + std::to_string(time->count()) : "";
    };
    return std::string(decision.cancel_timers ? " cancel" : "") +
           (decision.signal != 0 ? " signal " + std::to_string(decision.signal) : "") +
           delay(" kill in ", decision.kill_in) + delay(" start in ", decision.start_in) +
           (decision.leave ? " leave" : "");
}

/// One supervised daemon, and the clock that it runs by.
struct Scene {
    std::string answer_to(const std::string& event, milliseconds at)
    {
        const Supervision::Time now{at};
        if (event.starts_with("type-"))
            return text_of(supervision.request_forwarded(
                static_cast<std::uint16_t>(std::stoi(event.substr(5)))));
        if (event == "tick")
            return text_of(supervision.tick(now));
        if (event == "shut-down")
            return text_of(supervision.shut_down());
        if (event == "end") {
            const std::string fault = supervision.end_is_expected() ? "" : " fault";
            return fault + text_of(supervision.ended(at - started));
        }
        if (event == "silence")
            return (supervision.is_heard() ? " heard " : " unheard ") +
                   std::to_string(supervision.silence(now).count());
        if (event == "heartbeat")
            return supervision.heartbeat(now), "";
        started = at;
        supervision.starting(now);
        if (event == "failing-start")
            return text_of(supervision.could_not_start());
        return supervision.started(), "";
    }

    /// The script as it went: milliseconds, event and decision of each step; restarts.
    std::string play(const std::string& script)
    {
        std::istringstream steps(script);
        std::string played, event;
        int at = 0;
        for (std::string step; std::getline(steps, step, ';');)
            if (std::istringstream(step) >> at >> event)
                played +=
                    std::to_string(at) + ' ' + event + answer_to(event, milliseconds(at)) + "; ";
        return played + "restarts " + std::to_string(supervision.restarts()) +
               (supervision.is_terminated() ? ", terminated" : "");
    }

    Supervision supervision{Settings{}};
    milliseconds started{0};
};

const std::pair<const char*, std::string> cases[] = {
    {"hang", "0 start; 9999 tick; 10000 tick signal 6 kill in 2000; 10500 heartbeat; 60000 tick; "
             "60001 end fault cancel start in 1000; 90000 tick; 90001 start; restarts 1"},
    {"heartbeat just in time",
     "500 start; 600 silence unheard 100; 10499 heartbeat; 20498 tick; 20498 silence heard 9999; "
     "20499 tick signal 6 kill in 2000; 20500 end fault cancel start in 1000; "
     "30000 start; 30000 silence unheard 0; restarts 1"},
    {"a long run resets the back-off",
     "0 start; 10 end fault cancel start in 1000; "
     "1010 start; 61010 end fault cancel start in 1000; restarts 1"},
    {"can not be started",
     "0 failing-start start in 1000; 20000 tick; 20001 failing-start start in 2000; "
     "22001 start; 22002 end fault cancel start in 4000; restarts 2"},
    {"a stop is followed by a start at once, and the back-off does not count it",
     "0 start; 1 type-2; 2 type-11 kill in 5000; 20000 tick; 20001 end cancel start in 0; "
     "20001 start; 20002 end fault cancel start in 1000; restarts 1"},
    {"terminate", "0 start; 1 type-5 kill in 5000; 2 type-11; 3 shut-down; "
                  "4 end cancel leave; restarts 0, terminated"},
    {"shut down while down",
     "0 start; 1 end fault cancel start in 1000; 2 type-5; 3 shut-down cancel leave; restarts 0"},
    {"shut down while running",
     "0 start; 1 shut-down signal 15 kill in 5000; 2 shut-down; 3 type-5; 20000 tick; "
     "20001 end cancel leave; restarts 0"},
    {"shut down while killing",
     "0 start; 10000 tick signal 6 kill in 2000; 10001 shut-down signal 15 kill in 5000; "
     "10002 end cancel leave; restarts 0"},
    {"shut down while leaving",
     "0 start; 1 type-11 kill in 5000; 2 shut-down signal 15 kill in 5000; "
     "3 end cancel leave; restarts 0"},
};

} // namespace

TEST(Supervision, decides_as_its_states_say)
{
    for (const auto& [name, script] : cases)
        EXPECT_EQ(Scene().play(script), script) << name;
}
