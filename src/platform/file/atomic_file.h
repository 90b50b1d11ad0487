// Files that are written as a whole: a reader sees the old content or the new
// one, never a part; and files that only their owner may read.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <string_view>

namespace platform {

struct Replacement {
    /// Of the file afterwards. Without: as it was, or 0644 less the umask.
    std::optional<mode_t> mode;
};

/// Makes `content` that of the file at `path`. Links are followed and stay. A
/// regular file, or none, is replaced: what is written beside it (see
/// temporary_name()) is renamed over it. It keeps its owner and group where this
/// user may give them. A device or a pipe is written as it is, see
/// write_special_file(). Throws std::runtime_error naming the path and the
/// reason; a regular file is then as it was, and nothing is left beside it.
void replace_file(const std::string& path, std::string_view content, const Replacement& how = {});

/// Writes `content` to a new file at `path`, mode 0600. Throws
/// std::runtime_error naming the path and the reason; an existing file is one,
/// and stays. A file that can not be written in full is removed.
void create_private_file(const std::string& path, std::string_view content);

} // namespace platform
