#include "vosctl/verbs/verbs.h"

#include "common/nyx_configurator.h"
#include "platform/logger/log_settings.h"
#include "text/words.h"
#include "vosctl/link/supervisor_link.h"
#include "vosctl/screen/terminal.h"
#include "vosctl/screen/top_screen.h"
#include "vosctl/verbs/measurement.h"
#include "vosctl/verbs/wall_second.h"

#include <unistd.h>

#include <iostream>
#include <memory>
#include <thread>

namespace vosctl {

namespace {

using libvariant::Variant;
using std::chrono::milliseconds;

constexpr unsigned endless = 0;
constexpr std::size_t plain_width = 200; ///< more than any line needs

/// How many blocks to print; `endless` without the option.
unsigned parse_count(const std::vector<std::string>& arguments)
{
    if (arguments.empty())
        return endless;
    if (arguments == std::vector<std::string>{"--once"})
        return 1;
    if (arguments.size() != 2 || arguments[0] != "-n")
        throw UsageError{};
    const auto count = text::to_number<unsigned>(arguments[1]);
    if (!count || *count == 0)
        throw UsageError{};
    return *count;
}

milliseconds until_next_second()
{
    const auto left = until_second(milliseconds{0});
    return left > milliseconds{0} ? left : milliseconds{1000};
}

/// The node as it was when it was last looked at.
class Node {
public:
    /// Looks at it once already, so that the next look has one to compare with.
    explicit Node(nyx::AConfigurator& conf) : m_source(start_measuring(conf)) { look(); }

    /// The supervisor is looked for each time: it may have been started anew.
    void look()
    {
        auto link = SupervisorLink::connect();
        const bool linked = link && link->peer() != 0;
        m_status = linked ? link->ask_status() : Variant();
        m_document = m_source->collect(linked ? link->peer() : ::getppid());
    }

    std::vector<std::string> lines(const ScreenStyle& style) const
    {
        return render_top(m_document, m_status, std::time(nullptr), style);
    }

private:
    std::unique_ptr<HealthDocument> m_source;
    Variant m_status; ///< null without a supervisor
    Variant m_document;
};

/// `count` blocks of plain lines, or as many as somebody reads.
int print_blocks(nyx::AConfigurator& conf, unsigned count)
{
    LogSettings::use_standard_error(LogLevel::warning);
    const ScreenStyle style{plain_width, 0, wants_colour(), locale_is_utf8()};
    Node node(conf);
    for (unsigned printed = 0; count == endless || printed < count; ++printed) {
        std::this_thread::sleep_for(until_next_second());
        node.look();
        std::cout << (printed == 0 ? "" : "\n");
        for (const auto& line : node.lines(style))
            std::cout << line << '\n';
        if (!std::cout.flush()) {
            std::cerr << "vosctl top: standard output can not be written\n";
            return exit_failed;
        }
    }
    return exit_done;
}

/// The terminal is taken first, so that the sampler's thread leaves its signals
/// alone, and given back before that thread is waited for.
int live(nyx::AConfigurator& conf)
{
    LogSettings::use_standard_error(LogLevel::fatal); // the screen is no place for a log
    Terminal terminal;
    terminal.show({"measuring ..."});
    Node node(conf);
    for (bool looked = false;;) {
        const auto event = terminal.wait(until_next_second());
        if (event == Terminal::Event::quit)
            break;
        if (event == Terminal::Event::time) {
            node.look();
            looked = true;
        }
        if (looked)
            terminal.show(node.lines(terminal.style()));
    }
    terminal.leave();
    return exit_done;
}

int run(const CommandLine& line)
{
    const auto count = parse_count(line.arguments);
    nyx::AConfigurator conf(line.config.c_str(), false);
    nyx::TheConfigurator::set_configurator(&conf);
    return count == endless && has_terminal() ? live(conf) : print_blocks(conf, count);
}

} // namespace

constinit const Verb top_verb{
    .name = "top",
    .arguments = "[--once | -n COUNT]",
    .summary = "show the node at a glance, each second anew",
    .help = "Shows the node at a glance on a terminal, measured anew each second by vosctl\n"
            "itself: CPU, RAM and files, the daemon and its last report, the monitored\n"
            "processes, the busiest first, and the interfaces. \"q\" or Ctrl-C ends it.\n"
            "Where the output is no terminal, or with a COUNT of blocks (--once: one), it is\n"
            "plain lines, a block a second. No colours with NO_COLOR set; ASCII bars where\n"
            "the locale is not UTF-8.\n",
    .run = run,
};

} // namespace vosctl
