#include "platform/file/text_file.h"

#include "platform/file/unique_fd.h"

#include <fcntl.h>

#include <array>
#include <cerrno>

namespace platform {

namespace {

/// With `one_record` a read that leaves room in the buffer was the last one.
std::optional<std::string> read_file(const std::string& path, bool one_record)
{
    const UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd.valid())
        return std::nullopt;
    std::array<char, 8192> buffer; // most files are short: they get a text of their size
    std::string text;
    while (true) {
        const auto got = ::read(fd.get(), buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        const auto length = static_cast<std::size_t>(got);
        text.append(buffer.data(), length);
        if (length == 0 || (one_record && length < buffer.size()))
            return text;
        if (text.size() > largest_text_file) {
            errno = EFBIG;
            return std::nullopt;
        }
    }
}

} // namespace

std::optional<std::string> read_text_file(const std::string& path)
{
    return read_file(path, false);
}

std::optional<std::string> read_record_file(const std::string& path)
{
    return read_file(path, true);
}

} // namespace platform
