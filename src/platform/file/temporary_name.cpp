#include "platform/file/temporary_name.h"

#include "text/words.h"

#include <dirent.h>
#include <sys/types.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <memory>
#include <optional>
#include <string_view>

namespace platform {

namespace {

constexpr std::string_view ending = ".tmp";

/// `path` without its last name; it may be empty.
std::string before_name(const std::string& path)
{
    return path.substr(0, path.rfind('/') + 1);
}

std::string beginning_for(const std::string& path)
{
    return "." + path.substr(path.rfind('/') + 1) + ".";
}

/// Who wrote the file `name`; nothing when it does not begin and end so.
std::optional<pid_t> writer_of(std::string_view name, const std::string& beginning)
{
    if (!name.starts_with(beginning) || !name.ends_with(ending) ||
        name.size() < beginning.size() + ending.size())
        return std::nullopt;
    name.remove_prefix(beginning.size());
    name.remove_suffix(ending.size());
    const auto pid = text::to_number<pid_t>(name);
    return pid > 0 ? pid : std::nullopt;
}

bool is_gone(pid_t pid)
{
    return ::kill(pid, 0) != 0 && errno == ESRCH;
}

} // namespace

std::string temporary_name(const std::string& path)
{
    return before_name(path) + beginning_for(path) + std::to_string(::getpid()) +
           std::string(ending);
}

std::string folder_of(const std::string& path)
{
    const auto folder = before_name(path);
    return folder.empty() ? "." : folder;
}

std::string resolve_links(std::string path)
{
    constexpr int most_links = 40; // as many as the kernel follows
    std::array<char, PATH_MAX> target;
    for (int followed = 0; followed < most_links; ++followed) {
        const auto length = ::readlink(path.c_str(), target.data(), target.size());
        if (length <= 0)
            return path;
        const std::string_view next(target.data(), static_cast<std::size_t>(length));
        path = (next.front() == '/' ? "" : before_name(path)) + std::string(next);
    }
    return path;
}

void remove_leftovers(const std::string& path)
{
    const auto target = resolve_links(path);
    const auto beginning = beginning_for(target);
    // Not by std::filesystem: it ends the process when memory is short.
    const std::unique_ptr<DIR, int (*)(DIR*)> folder(::opendir(folder_of(target).c_str()),
                                                     ::closedir);
    if (!folder)
        return;
    while (const auto* file = ::readdir(folder.get())) {
        const auto writer = writer_of(file->d_name, beginning);
        if (writer && (*writer == ::getpid() || is_gone(*writer)))
            ::unlinkat(::dirfd(folder.get()), file->d_name, 0);
    }
}

} // namespace platform
