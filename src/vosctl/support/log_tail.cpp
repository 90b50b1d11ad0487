#include "vosctl/support/log_tail.h"

#include "platform/file/unique_fd.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace vosctl {

namespace {

constexpr off_t most_bytes = 4 * 1024 * 1024;

[[noreturn]] void fail(const std::string& path, const char* why)
{
    throw std::runtime_error(path + ": " + why);
}

} // namespace

std::string_view last_lines(std::string_view text, std::size_t count)
{
    auto begin = text.ends_with('\n') ? text.size() - 1 : text.size();
    for (std::size_t lines = 0; lines < count; ++lines) {
        if (begin == 0)
            return text;
        const auto feed = text.rfind('\n', begin - 1);
        if (feed == std::string_view::npos)
            return text;
        begin = feed;
    }
    return begin == text.size() ? std::string_view() : text.substr(begin + 1);
}

std::string read_last_lines(const std::string& path, std::size_t count)
{
    // Not to wait for the writer of a pipe, should somebody log into one.
    const platform::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat found {};
    if (!fd.valid() || ::fstat(fd.get(), &found) != 0)
        fail(path, std::strerror(errno));
    if (!S_ISREG(found.st_mode))
        fail(path, "not a regular file");
    const auto begin = std::max<off_t>(0, found.st_size - most_bytes);
    std::string text(static_cast<std::size_t>(found.st_size - begin), '\0');
    const auto got = ::pread(fd.get(), text.data(), text.size(), begin);
    if (got < 0)
        fail(path, std::strerror(errno));
    text.resize(static_cast<std::size_t>(got));
    if (begin > 0)
        text.erase(0, text.find('\n') + 1); // the first line may have lost its beginning
    return std::string(last_lines(text, count));
}

} // namespace vosctl
