// The names under which files are written before they take their places.
#pragma once

#include <string>

namespace platform {

/// Where this process writes what is to become `path`: in the same folder, and
/// beginning with a dot, ".NAME.PID.tmp".
std::string temporary_name(const std::string& path);

/// The folder of the file at `path`, by a name that can be opened.
std::string folder_of(const std::string& path);

/// Where the links at `path` lead, followed one by one; `path` itself when it is
/// none. There need not be a file. After 40 links it stops where it is.
std::string resolve_links(std::string path);

/// Removes what writers of `path`, links resolved, have left beside it: files
/// with a temporary_name() of this process, or of one that runs no more. For who
/// writes that file, and not while it is being written. Failures are not told of.
void remove_leftovers(const std::string& path);

} // namespace platform
