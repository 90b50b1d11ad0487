// Files that are written as a whole: a reader sees the old content or the new
// one, never a part; and files that only their owner may read.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace platform {

/// Writes `content` beside `path` (in `path` + ".tmp") and renames it over
/// `path`. A regular file keeps its owner and group where this user may give
/// them, and its mode; a new one gets 0644 less the umask. With `mode`, either
/// gets exactly that. What a crash left beside `path` is replaced. Throws
/// std::runtime_error naming the path and the reason; `path` is then as it was
/// and nothing is left beside it.
void replace_file(const std::string& path, std::string_view content,
                  std::optional<mode_t> mode = std::nullopt);

/// Removes what a writer of `path` that was killed has left beside it. Only
/// where no other writer can be at work. A failure is not told of.
void remove_leftover(const std::string& path);

/// Writes `content` to a new file at `path`, mode 0600. Throws
/// std::runtime_error naming the path and the reason; an existing file is one,
/// and stays. A file that can not be written in full is removed.
void create_private_file(const std::string& path, std::string_view content);

} // namespace platform
