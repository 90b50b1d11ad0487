#include "procfs/locks.h"

#include "text/words.h"

#include <optional>

namespace procfs {

namespace {

/// Takes the hexadecimal number before the next colon off `text`.
std::optional<unsigned> next_device_number(std::string_view& text)
{
    constexpr int hexadecimal = 16;
    const auto colon = text.find(':');
    if (colon == std::string_view::npos)
        return std::nullopt;
    unsigned value{};
    const auto* end = text.data() + colon;
    const auto [stop, error] = std::from_chars(text.data(), end, value, hexadecimal);
    if (error != std::errc() || stop != end)
        return std::nullopt;
    text.remove_prefix(colon + 1);
    return value;
}

/// "MAJOR:MINOR:INODE", of which the first two are hexadecimal.
std::optional<LockedFile> to_locked_file(std::string_view word)
{
    const auto device_major = next_device_number(word);
    const auto device_minor = next_device_number(word);
    const auto inode = text::to_number<std::uint64_t>(word);
    if (!device_major || !device_minor || !inode)
        return std::nullopt;
    return LockedFile{*device_major, *device_minor, *inode};
}

} // namespace

std::vector<int> parse_flock_holders(std::string_view text, const LockedFile& file)
{
    std::vector<int> holders;
    while (auto line = text::next_line(text)) {
        text::skip_words(*line, 1);            // its number
        if (text::next_word(*line) != "FLOCK") // one that waits has "->" here
            continue;
        text::skip_words(*line, 2); // "ADVISORY", and for what
        const auto pid = text::next_number<int>(*line);
        if (pid > 0 && to_locked_file(text::next_word(*line)) == file)
            holders.push_back(*pid);
    }
    return holders;
}

} // namespace procfs
