#include "platform/file/regular_file.h"

#include <cerrno>
#include <cstring>

namespace platform {

text::Result<struct stat> stat_regular_file(const std::string& path)
{
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0)
        return text::Failure{std::strerror(errno)};
    if (!S_ISREG(found.st_mode))
        return text::Failure{"not a regular file"};
    return found;
}

} // namespace platform
