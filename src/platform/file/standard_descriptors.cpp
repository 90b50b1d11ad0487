#include "platform/file/standard_descriptors.h"

#include <fcntl.h>
#include <unistd.h>

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

} // namespace platform
