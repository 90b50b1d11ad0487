#include "vosctl/check/check_file.h"

#include "config/includes.h"
#include "platform/file/text_file.h"
#include "vosctl/check/config_check.h"
#include "vosctl/check/file_probes.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>
#include <optional>

namespace vosctl {

namespace {

Finding whole_file(const std::string& message, unsigned int line = 0)
{
    return {Severity::error, "", message, line};
}

/// A file that could not be read; errno says why.
Findings unreadable()
{
    return {whole_file(std::string("can not be read: ") + std::strerror(errno))};
}

void append(Findings& all, Findings&& more)
{
    std::ranges::move(more, std::back_inserter(all));
}

/// Parses `text` into `config`; what is wrong when that fails.
std::optional<Finding> parse(const std::string& text, libconfig::Config& config)
{
    if (const auto nul = text.find('\0'); nul != std::string::npos)
        return whole_file(
            "holds a NUL byte",
            1 + static_cast<unsigned>(std::count(
                    text.begin(), text.begin() + static_cast<std::ptrdiff_t>(nul), '\n')));
    if (const auto usable = nyx::check_includes(text); !usable)
        return whole_file(usable.reason());
    try {
        config.readString(text);
    } catch (const libconfig::ParseException& error) {
        const std::string inner = error.getFile() != nullptr ? error.getFile() : "";
        return whole_file((inner.empty() ? "" : "in the included file " + inner + ": ") +
                              error.getError(),
                          static_cast<unsigned>(error.getLine()));
    }
    if (config.getRoot().getLength() == 0)
        return whole_file("empty: it holds no setting, and the daemon does not start");
    return std::nullopt;
}

} // namespace

Findings check_file(const std::string& path)
{
    const auto text = platform::read_text_file(path);
    if (!text)
        return unreadable();
    libconfig::Config config;
    if (const auto failure = parse(*text, config))
        return {*failure};
    auto findings = check_tree(config);
    append(findings, check_numbers(*text));
    append(findings, probe_files(config));
    return findings;
}

Findings check_file_in_its_directory(const std::string& path)
{
    const auto slash = path.rfind('/');
    if (slash == std::string::npos)
        return check_file(path);
    if (::chdir(path.substr(0, slash + 1).c_str()) != 0)
        return unreadable();
    return check_file(path.substr(slash + 1));
}

} // namespace vosctl
