#include "utils/text_file.h"

#include "platform/file/unique_fd.h"

#include <fcntl.h>

#include <cerrno>

namespace nyx_utils {

namespace {

constexpr std::string_view blanks = " \t\r\v\f\n";

} // namespace

std::optional<std::string> read_text_file(const std::string& path)
{
    const platform::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (!fd.valid())
        return std::nullopt;
    std::string text(4096, '\0');
    std::size_t length = 0;
    while (true) {
        const auto got = ::read(fd.get(), text.data() + length, text.size() - length);
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        if (got == 0)
            break;
        length += static_cast<std::size_t>(got);
        if (length > largest_text_file) {
            errno = EFBIG;
            return std::nullopt;
        }
        if (length == text.size())
            text.resize(2 * text.size());
    }
    text.resize(length);
    return text;
}

std::optional<std::string_view> next_line(std::string_view& text)
{
    if (text.empty())
        return std::nullopt;
    const auto end = text.find('\n');
    const auto line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

std::string_view next_word(std::string_view& text)
{
    const auto start = text.find_first_not_of(blanks);
    if (start == std::string_view::npos) {
        text = {};
        return {};
    }
    text.remove_prefix(start);
    const auto word = text.substr(0, text.find_first_of(blanks));
    text.remove_prefix(word.size());
    return word;
}

} // namespace nyx_utils
