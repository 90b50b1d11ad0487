#include "vosctl/screen/terminal.h"

#include <langinfo.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <clocale>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace vosctl {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::string_view enter_screen = "\x1b[?1049h\x1b[?25l\x1b[2J";
constexpr std::string_view leave_screen = "\x1b[?25h\x1b[?1049l";
constexpr char ctrl_c = 3;

void write_all(std::string_view text) noexcept
{
    while (!text.empty()) {
        const auto written = ::write(STDOUT_FILENO, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return; // the terminal is gone, which the next wait notices
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

/// A terminal in which no key makes a signal or stops the output: a suspended
/// program would leave its screen behind.
termios without_echo(termios settings)
{
    settings.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO | ISIG);
    settings.c_iflag &= ~static_cast<tcflag_t>(IXON);
    settings.c_cc[VMIN] = 0;
    settings.c_cc[VTIME] = 0;
    return settings;
}

bool is_set(const char* variable)
{
    const char* value = std::getenv(variable);
    return value != nullptr && *value != '\0';
}

} // namespace

bool locale_is_utf8()
{
    const auto locale = ::newlocale(LC_CTYPE_MASK, "", nullptr);
    if (locale == nullptr)
        return false;
    const bool utf8 = std::string_view(::nl_langinfo_l(CODESET, locale)) == "UTF-8";
    ::freelocale(locale);
    return utf8;
}

bool has_terminal()
{
    const char* kind = std::getenv("TERM");
    return ::isatty(STDOUT_FILENO) == 1 && kind != nullptr && std::strcmp(kind, "dumb") != 0;
}

bool wants_colour()
{
    return has_terminal() && !is_set("NO_COLOR");
}

Terminal::Terminal()
{
    sigset_t taken;
    sigemptyset(&taken);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGWINCH})
        sigaddset(&taken, signal);
    ::pthread_sigmask(SIG_BLOCK, &taken, nullptr);
    m_signals.reset(::signalfd(-1, &taken, SFD_NONBLOCK | SFD_CLOEXEC));
    if (!m_signals.valid())
        throw std::runtime_error(std::string("signalfd: ") + std::strerror(errno));
    m_has_keys = ::tcgetattr(STDIN_FILENO, &m_before) == 0;
    if (m_has_keys) {
        const auto settings = without_echo(m_before);
        ::tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    }
    write_all(enter_screen);
}

void Terminal::leave() noexcept
{
    if (m_left)
        return;
    m_left = true;
    write_all(leave_screen);
    if (m_has_keys)
        ::tcsetattr(STDIN_FILENO, TCSANOW, &m_before);
}

Terminal::Event Terminal::wait(milliseconds time)
{
    const auto end = steady_clock::now() + time;
    while (true) {
        const auto left = std::chrono::ceil<milliseconds>(end - steady_clock::now());
        if (left <= milliseconds{0})
            return Event::time;
        std::array<pollfd, 2> sources{
            {{m_signals.get(), POLLIN, 0}, {m_has_keys ? STDIN_FILENO : -1, POLLIN, 0}}};
        if (::poll(sources.data(), sources.size(), static_cast<int>(left.count())) <= 0)
            continue;
        auto event = Event::time;
        if (sources[0].revents != 0)
            event = read_signal();
        if (event == Event::time && sources[1].revents != 0)
            event = read_key();
        if (event != Event::time)
            return event;
    }
}

Terminal::Event Terminal::read_signal()
{
    signalfd_siginfo signal{};
    if (::read(m_signals.get(), &signal, sizeof signal) != sizeof signal)
        return Event::time;
    return signal.ssi_signo == SIGWINCH ? Event::resize : Event::quit;
}

/// Other keys say nothing. No key although there was one: the terminal is gone.
Terminal::Event Terminal::read_key()
{
    char key{};
    const auto got = ::read(STDIN_FILENO, &key, 1);
    if (got < 0 && (errno == EINTR || errno == EAGAIN))
        return Event::time;
    return got <= 0 || key == 'q' || key == 'Q' || key == ctrl_c ? Event::quit : Event::time;
}

ScreenStyle Terminal::style() const
{
    winsize size{};
    ScreenStyle style{80, 24, wants_colour(), locale_is_utf8()};
    if (::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 && size.ws_row != 0) {
        style.width = size.ws_col;
        style.height = size.ws_row;
    }
    return style;
}

/// Overwrites line by line, so that nothing flickers; without a line feed after
/// the last, which would scroll a full screen.
void Terminal::show(const std::vector<std::string>& lines)
{
    std::string frame = "\x1b[H";
    for (std::size_t at = 0; at < lines.size(); ++at)
        frame += (at == 0 ? "" : "\r\n") + lines[at] + "\x1b[K";
    write_all(frame + "\x1b[J");
}

} // namespace vosctl
