#include "vosctl/support/lock_holder.h"

#include "platform/file/text_file.h"
#include "procfs/locks.h"
#include "procfs/path.h"
#include "text/printable.h"
#include "text/words.h"

#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <vector>

namespace vosctl {

namespace {

std::vector<int> holders_of(const std::string& path)
{
    const auto locks = platform::read_text_file("/proc/locks");
    struct stat found {};
    if (!locks || ::stat(path.c_str(), &found) != 0)
        return {};
    return procfs::parse_flock_holders(
        *locks, {gnu_dev_major(found.st_dev), gnu_dev_minor(found.st_dev), found.st_ino});
}

std::string program_of(int pid)
{
    const auto name = platform::read_record_file(procfs::path_of("/proc", pid, "comm"));
    return name ? text::printable(text::trimmed(name->substr(0, name->find('\n')))) : "a program";
}

} // namespace

std::string lock_holder_text(const std::string& path)
{
    std::string holders;
    bool is_daemon = false;
    for (const int pid : holders_of(path)) {
        const auto program = program_of(pid);
        is_daemon = is_daemon || program == "vos_monitor";
        holders +=
            (holders.empty() ? "" : ", ") + program + " (process " + std::to_string(pid) + ")";
    }
    if (holders.empty())
        return "/proc/locks does not tell who holds it; try again";
    return "held by " + holders +
           (is_daemon ? ", which keeps it after a reload of a file that did not parse: once the "
                        "file does, \"vosctl reload\" frees it"
                      : "; wait for that to end, or end it");
}

} // namespace vosctl
