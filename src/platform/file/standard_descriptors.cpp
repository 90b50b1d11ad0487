#include "platform/file/standard_descriptors.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <climits>

namespace platform {

void open_standard_descriptors()
{
    // open() gives the lowest free number: 0 to 2 fill up in order.
    int fd = 0;
    do
        fd = ::open("/dev/null", O_RDWR);
    while (fd >= 0 && fd <= STDERR_FILENO);
    if (fd > STDERR_FILENO)
        ::close(fd);
}

void write_standard_error(std::string_view text)
{
    while (!text.empty()) {
        // A pipe that is ready takes so much at once; one without a reader is
        // ready too, but with an error, and would raise SIGPIPE.
        pollfd ready{STDERR_FILENO, POLLOUT, 0};
        if (::poll(&ready, 1, 0) != 1 || ready.revents != POLLOUT)
            return;
        const auto written =
            ::write(STDERR_FILENO, text.data(), std::min<std::size_t>(text.size(), PIPE_BUF));
        if (written <= 0)
            return;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace platform
