#include "monitor/intervals.h"

#include "config/keys.h"
#include "config/source_text.h"
#include "platform/file/text_file.h"
#include "platform/logger/sup_logger.h"

#include <string>

namespace nyx_monitor {

namespace {

using libconfig::Setting;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("VOSMonitor");
    return instance;
}

/// The value of the setting at `path` as its file has it; the tree's own where
/// that can not be found out.
std::string written_value(const Setting& setting, const std::string& path)
{
    const char* file = setting.getSourceFile();
    const nyx::ConfigText text(platform::read_text_file(file != nullptr ? file : "").value_or(""));
    // A file that is included in the group has the name alone.
    for (const auto& place : {path, path.substr(path.rfind('.') + 1)})
        if (const auto value = text.value_of(place))
            return std::string(*value);
    return setting.getType() == Setting::TypeInt64
               ? std::to_string(static_cast<long long>(setting)) + "L"
               : std::to_string(static_cast<int>(setting));
}

bool is_outside(const Setting& setting, std::string literal)
{
    if (setting.getType() == Setting::TypeInt64)
        literal.resize(literal.find_last_not_of('L') + 1);
    return nyx::is_cut_number(literal);
}

void bound(libconfig::Config& config, const std::string& path)
{
    if (!config.exists(path))
        return;
    Setting& setting = config.lookup(path);
    const auto type = setting.getType();
    if (type != Setting::TypeInt && type != Setting::TypeInt64)
        return;
    const auto literal = written_value(setting, path);
    if (is_outside(setting, literal)) {
        logger().warning(path, " is ", literal,
                         ", which does not fit 31 bits; it counts as missing");
        setting.getParent().remove(static_cast<unsigned>(setting.getIndex()));
    } else if (type == Setting::TypeInt && static_cast<int>(setting) < config::least_interval_ms) {
        logger().warning(path, " is ", literal, "; it counts as ", config::least_interval_ms);
        setting = config::least_interval_ms;
    }
}

} // namespace

void bound_intervals(libconfig::Config& config)
{
    for (const char* path : {config::key::polling_rate_ms, config::key::message_check_timeout_ms})
        bound(config, path);
}

} // namespace nyx_monitor
