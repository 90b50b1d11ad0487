// Reading a whole small text file.
#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace platform {

/// Files of /proc and the like stay far below; nothing larger is read.
constexpr std::size_t largest_text_file = 16 * 1024 * 1024;

/// The content of the file at `path`, in one open, a few reads and one close.
/// Nothing, with errno set, when it can not be read or is larger than
/// largest_text_file. Never waits for a pipe's writer.
std::optional<std::string> read_text_file(const std::string& path);

/// The same of a file that the kernel writes in one go, as those of /proc about
/// one process, memory and CPUs: not the lists, which come page by page. Saves
/// the read that only tells the end.
std::optional<std::string> read_record_file(const std::string& path);

} // namespace platform
