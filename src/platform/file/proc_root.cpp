#include "platform/file/proc_root.h"

#include <linux/magic.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <array>
#include <string_view>
#include <utility>

namespace platform {

namespace {

bool is_proc_file_system(const std::string& path)
{
    struct statfs system {};
    return ::statfs(path.c_str(), &system) == 0 && system.f_type == PROC_SUPER_MAGIC;
}

/// Whether this process has the id there that it has for itself.
bool knows_this_process(const std::string& path)
{
    std::array<char, 32> self{};
    const auto length = ::readlink((path + "/self").c_str(), self.data(), self.size());
    return length > 0 && std::string_view(self.data(), static_cast<std::size_t>(length)) ==
                             std::to_string(::getpid());
}

} // namespace

ProcRoot::ProcRoot(std::string path)
    : m_path(std::move(path)), m_is_proc(is_proc_file_system(m_path)),
      m_has_own_ids(m_is_proc && knows_this_process(m_path))
{
}

} // namespace platform
