// The terminal while a screen lives on it.
#pragma once

#include "platform/file/unique_fd.h"
#include "vosctl/screen/screen_line.h"

#include <termios.h>

#include <chrono>
#include <string>
#include <vector>

namespace vosctl {

/// Whether the locale of the environment writes UTF-8.
bool locale_is_utf8();
/// Whether standard output is a terminal on which a screen can live.
bool has_terminal();
/// Whether colours are wanted there: a terminal, and no NO_COLOR.
bool wants_colour();

/// Takes the alternate screen of standard output, hides the cursor and reads
/// keys unechoed; leave() and the destructor give all of it back. Blocks
/// SIGINT, SIGTERM, SIGHUP, SIGQUIT and SIGWINCH for the calling thread and
/// those that it starts from then on, and takes them as events instead.
class Terminal {
public:
    enum class Event { time, resize, quit };

    /// Throws std::runtime_error when the system gives no signal descriptor.
    Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal() { leave(); }

    /// Waits for `time` at most. Quit: "q", Ctrl-C, an ending signal, or a
    /// terminal that is gone.
    Event wait(std::chrono::milliseconds time);
    /// The size as it is now, 80 by 24 where it is unknown.
    ScreenStyle style() const;
    /// Replaces what the screen shows.
    void show(const std::vector<std::string>& lines);
    /// Gives the terminal back; only once.
    void leave() noexcept;

private:
    Event read_signal();
    Event read_key();

    platform::UniqueFd m_signals;
    bool m_has_keys{false};
    termios m_before{};
    bool m_left{false};
};

} // namespace vosctl
