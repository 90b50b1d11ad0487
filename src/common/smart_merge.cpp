#include "common/smart_merge.h"

#include "common/nyx_configurator.h"
#include "config/source_text.h"
#include "config/tree_merge.h"
#include "platform/file/atomic_file.h"
#include "platform/file/regular_file.h"
#include "platform/file/text_file.h"
#include "platform/logger/sup_logger.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <filesystem>
#include <initializer_list>
#include <stdexcept>
#include <system_error>
#include <utility>
#include <vector>

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

/// Looks before libconfig reads: its scanner ends the process at a directory and
/// waits for ever at a pipe.
text::Outcome check_kind(const std::string& path)
{
    const auto found = platform::stat_regular_file(path);
    if (!found)
        return text::Failure{found.reason()};
    if (found->st_size > longest_file)
        return text::Failure{"longer than 256 KiB"};
    return text::done();
}

std::string parse_failure(const libconfig::ParseException& error)
{
    const std::string text = error.getError();
    return "line " + std::to_string(error.getLine()) + ": " +
           (text == "cannot open include file" ? "@include is not followed in a merge" : text);
}

/// Whether writing the output would change `input`.
bool would_overwrite(const std::string& output, const std::string& input)
{
    std::error_code missing;
    return std::filesystem::equivalent(output, input, missing);
}

mode_t mode_of(const std::string& path)
{
    struct stat found {};
    if (::stat(path.c_str(), &found) != 0)
        throw std::runtime_error(path + ": " + std::strerror(errno));
    return found.st_mode & 0777;
}

} // namespace

text::Outcome open_cfg_file(const std::string& path, libconfig::Config& config)
{
    std::string reason;
    try {
        config.setIncludeDir(no_includes);
        if (const auto usable = check_kind(path))
            config.readFile(path.c_str());
        else
            reason = usable.reason();
    } catch (const libconfig::ParseException& error) {
        reason = parse_failure(error);
    } catch (const std::exception& error) {
        reason = error.what();
    }
    if (reason.empty())
        return text::done();
    return text::Failure{log_failure("Failed to open configuration file [" + path + "]", reason)};
}

namespace {

using Remarks = std::vector<std::string>;

/// An input whose numbers are those that libconfig read. Each failure has been
/// logged.
text::Outcome open_input(const std::string& path, libconfig::Config& config)
{
    auto opened = open_cfg_file(path, config);
    if (!opened)
        return opened;
    const auto cut = ConfigText(platform::read_text_file(path).value_or("")).cut_numbers();
    if (cut.empty())
        return opened;
    return text::Failure{log_failure("Failed to merge configuration file [" + path + "]",
                                     "line " + std::to_string(cut.front().line) + ": " +
                                         cut.front().path + ": " + cut.front().fault)};
}

text::Outcome open_inputs(const std::string& template_path, libconfig::Config& from_template,
                          const std::string& current_path, libconfig::Config& current)
{
    auto opened = open_input(template_path, from_template);
    return opened ? open_input(current_path, current) : opened;
}

/// An output that is there has to be a configuration; its content goes.
text::Outcome check_output(const std::string& path)
{
    libconfig::Config replaced;
    std::error_code unknown;
    return std::filesystem::exists(path, unknown) ? open_cfg_file(path, replaced) : text::done();
}

text::Result<Remarks> merge_files(const std::string& template_path, const std::string& current_path,
                                  const std::string& output_path)
{
    libconfig::Config from_template;
    libconfig::Config current;
    if (const auto in = open_inputs(template_path, from_template, current_path, current); !in)
        return text::Failure{in.reason()};
    if (const auto out = check_output(output_path); !out)
        return text::Failure{out.reason()};
    try {
        for (const auto& input : {template_path, current_path})
            if (would_overwrite(output_path, input))
                throw std::runtime_error("it would replace [" + input + "]");
        libconfig::Config output;
        auto remarks = merge_trees(from_template.getRoot(), current.getRoot(), output.getRoot());
        platform::replace_file(output_path, readable_configuration_text(output),
                               {.mode = mode_of(current_path), .synced = true});
        return remarks;
    } catch (const std::exception& error) {
        return text::Failure{
            log_failure("Failed to write configuration file [" + output_path + "]", error.what())};
    }
}

} // namespace

bool TheConfigurator::smart_merge(const std::string& template_path, const std::string& current_path,
                                  const std::string& output_path, MergeReport* report)
{
    const auto remarks = merge_files(template_path, current_path, output_path);
    for (const auto& remark : remarks ? *remarks : Remarks{})
        logger().warning(remark);
    if (report != nullptr)
        *report = remarks ? MergeReport{{}, *remarks} : MergeReport{remarks.reason(), {}};
    return static_cast<bool>(remarks);
}

} // namespace nyx
