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
    /// The content is on the disk before it is in its place, and there when the call
    /// returns: a power cut leaves the old one or the new one, too.
    bool synced{false};
    /// A file over which nothing can be renamed, as one that is mounted by itself,
    /// is written in place. Whoever reads it is to be locked out meanwhile.
    bool in_place{false};
};

/// Makes `content` that of the file at `path`. Links are followed and stay. A
/// regular file, or none, is replaced: what is written beside it (see
/// temporary_name()) is renamed over it. It keeps its owner and group where this
/// user may give them. A device or a pipe is written as it is, see
/// write_special_file(). Throws std::runtime_error naming the path and the
/// reason; a regular file is then as it was, unless its disk failed while it was
/// written in place, and nothing is left beside it. Calls while_waiting() between
/// the steps that a slow disk takes long for.
void replace_file(const std::string& path, std::string_view content, const Replacement& how = {});

/// Writes `content` to a new file at `path`, mode 0600. Throws
/// std::runtime_error naming the path and the reason; an existing file is one,
/// and stays. A file that can not be written in full is removed.
void create_private_file(const std::string& path, std::string_view content);

} // namespace platform
