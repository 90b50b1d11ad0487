#include "platform/file/text_file.h"

#include "platform/file/unique_fd.h"

#include <fcntl.h>

#include <array>
#include <cerrno>

namespace nyx_utils {

namespace {

constexpr std::string_view blanks = " \t\r\v\f\n";

/// With `one_record` a read that leaves room in the buffer was the last one.
std::optional<std::string> read_file(const std::string& path, bool one_record)
{
    const platform::UniqueFd fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
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
