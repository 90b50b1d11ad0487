#include "common/smart_merge.h"

#include "common/nyx_configurator.h"
#include "config/tree_merge.h"
#include "platform/file/atomic_file.h"
#include "platform/logger/sup_logger.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <initializer_list>
#include <stdexcept>
#include <system_error>

namespace nyx {

namespace {

constexpr off_t longest_file = 256 * 1024;

/// A folder that is none: libconfig finds nothing to include beneath it.
constexpr const char* no_includes = "/dev/null";

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Configurator");
    return instance;
}

/// Logs `record`, and `reason` after it; gives both in one line.
std::string log_failure(const std::string& record, const std::string& reason)
{
    logger().error(record);
    logger().error(reason);
    return record + ": " + reason;
}

/// Looks before libconfig reads: its scanner ends the process at a folder and
/// waits for ever at a pipe.
std::string unusable_kind(const std::string& path)
{
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0)
        return std::strerror(errno);
    if (!S_ISREG(found.st_mode))
        return "not a regular file";
    return found.st_size > longest_file ? "longer than 256 KiB" : "";
}

std::string parse_failure(const libconfig::ParseException& error)
{
    const std::string text = error.getError();
    return "line " + std::to_string(error.getLine()) + ": " +
           (text == "cannot open include file" ? "@include is not followed in a merge" : text);
}

/// Whether writing the output would change `input`, by itself or by the file
/// that is made beside it.
bool would_overwrite(const std::string& output, const std::string& input)
{
    std::error_code missing;
    return std::filesystem::equivalent(output, input, missing) ||
           std::filesystem::equivalent(output + ".tmp", input, missing);
}

mode_t mode_of(const std::string& path)
{
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0)
        throw std::runtime_error(path + ": " + std::strerror(errno));
    return found.st_mode & 0777;
}

/// Writes nothing that libconfig does not read again: it has no way to write
/// an infinite number.
void write_merged(const std::string& path, const libconfig::Config& merged, mode_t mode)
{
    const auto text = configuration_text(merged);
    try {
        libconfig::Config again;
        again.readString(text);
    } catch (const libconfig::ParseException& error) {
        throw std::runtime_error("line " + std::to_string(error.getLine()) +
                                 " of it could not be read again");
    }
    platform::replace_file(path, text, mode);
}

} // namespace

bool open_cfg_file(const std::string& path, libconfig::Config& config, std::string& failure)
{
    auto reason = unusable_kind(path);
    try {
        config.setIncludeDir(no_includes);
        if (reason.empty())
            config.readFile(path.c_str());
    } catch (const libconfig::ParseException& error) {
        reason = parse_failure(error);
    } catch (const std::exception& error) {
        reason = error.what();
    }
    if (!reason.empty())
        failure = log_failure("Failed to open configuration file [" + path + "]", reason);
    return reason.empty();
}

bool TheConfigurator::smart_merge(const std::string& template_path, const std::string& current_path,
                                  const std::string& output_path, MergeReport* report)
{
    MergeReport own;
    auto& said = report != nullptr ? *report : own;
    libconfig::Config from_template;
    libconfig::Config current;
    libconfig::Config replaced;
    std::error_code unknown;
    if (!open_cfg_file(template_path, from_template, said.failure) ||
        !open_cfg_file(current_path, current, said.failure))
        return false;
    // An output that is there has to be a configuration; its content goes.
    if (std::filesystem::exists(output_path, unknown) &&
        !open_cfg_file(output_path, replaced, said.failure))
        return false;
    try {
        for (const auto& input : {template_path, current_path})
            if (would_overwrite(output_path, input))
                throw std::runtime_error("it would replace [" + input + "]");
        libconfig::Config output;
        said.remarks = merge_trees(from_template.getRoot(), current.getRoot(), output.getRoot());
        write_merged(output_path, output, mode_of(current_path));
    } catch (const std::exception& error) {
        said.failure =
            log_failure("Failed to write configuration file [" + output_path + "]", error.what());
        return false;
    }
    for (const auto& remark : said.remarks)
        logger().warning(remark);
    return true;
}

} // namespace nyx
