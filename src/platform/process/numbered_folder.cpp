#include "platform/process/numbered_folder.h"

#include "text/words.h"

#include <dirent.h>

#include <algorithm>
#include <cerrno>
#include <memory>

namespace platform {

std::optional<std::vector<NumberedEntry>> read_numbered_folder(const std::string& path)
{
    const std::unique_ptr<DIR, int (*)(DIR*)> stream(::opendir(path.c_str()), ::closedir);
    if (!stream)
        return std::nullopt;
    std::vector<NumberedEntry> entries;
    while (true) {
        errno = 0; // which alone tells a failure from the end
        const dirent* const entry = ::readdir(stream.get());
        if (entry == nullptr && errno != 0)
            return std::nullopt;
        if (entry == nullptr)
            break;
        if (const auto number = text::to_number<pid_t>(entry->d_name))
            entries.push_back({*number, entry->d_ino});
    }
    if (!std::ranges::is_sorted(entries, {}, &NumberedEntry::number))
        std::ranges::sort(entries, {}, &NumberedEntry::number);
    return entries;
}

} // namespace platform
