// AConfigurator's settings as text.
#include "common/nyx_configurator.h"
#include "platform/logger/sup_logger.h"

#include <exception>
#include <sstream>

namespace nyx {

namespace {

using libconfig::Setting;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Configurator");
    return instance;
}

/// Elements of lists and arrays have no name, and neither has the root.
std::string name_of(const Setting& setting)
{
    const char* name = setting.getName();
    return name != nullptr ? name : "";
}

const char* truth_text(const Setting& setting)
{
    return static_cast<bool>(setting) ? "true" : "false";
}

/// The default form of a stream: numbers with at most six significant digits.
template <typename Value>
std::string streamed(Value value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

/// The children one after the other. A child that can not be told leaves what
/// there is of it.
std::string children_to_string(const Setting& group, int level)
{
    std::string all;
    for (int at = 0; at < group.getLength(); ++at) {
        std::string child;
        try {
            AConfigurator::get_value_as_a_string(group[at], child, level);
        } catch (const std::exception& error) {
            logger().error(error.what());
        }
        all += child;
    }
    return all;
}

} // namespace

bool AConfigurator::get_value_as_a_string(const char* path, std::string& out)
{
    auto* const setting = find_setting(path);
    if (setting == nullptr) {
        logger().error("Couldn't find a parameter: ", path);
        return false;
    }
    try {
        if (!setting->isRoot())
            return get_value_as_a_string(*setting, out, 0);
        out = children_to_string(*setting, 0);
        return true;
    } catch (const std::exception& error) {
        logger().error("Exception occurred: ", error.what());
        return false;
    }
}

bool AConfigurator::get_value_as_a_string(Setting& setting, std::string& out, int level)
{
    if (setting.isGroup()) {
        const bool told = group_to_string(setting, out, level);
        if (!told)
            out = "\"\"";
        return told;
    }
    out = level_spaces(level) + name_of(setting) + " = ";
    switch (setting.getType()) {
    case Setting::TypeInt:
        out += streamed(static_cast<int>(setting));
        break;
    case Setting::TypeInt64:
        out += streamed(static_cast<long long>(setting));
        break;
    case Setting::TypeFloat:
        out += streamed(static_cast<double>(setting));
        break;
    case Setting::TypeString:
        out += std::string("\"") + setting.c_str() + '"';
        break;
    case Setting::TypeBoolean:
        out += truth_text(setting);
        break;
    default:
        logger().error("Unsupported configuration parameter type: ",
                       static_cast<int>(setting.getType()));
        return false;
    }
    out += ";\n";
    return true;
}

bool AConfigurator::group_to_string(const Setting& setting, std::string& out, int level)
{
    out.clear();
    if (!setting.isGroup())
        return false;
    const auto spaces = level_spaces(level);
    out = spaces + name_of(setting) + " :\n" + spaces + "{\n";
    out += children_to_string(setting, level + 1);
    out += spaces + "};\n";
    return true;
}

std::string AConfigurator::level_spaces(int level)
{
    return level < 1 ? std::string() : std::string(2 * static_cast<std::size_t>(level), ' ');
}

std::size_t AConfigurator::list_all_keys(std::vector<std::string>& keys)
{
    keys.clear();
    list_setting_keys(config.getRoot(), keys);
    return keys.size();
}

void AConfigurator::list_setting_keys(const Setting& setting, std::vector<std::string>& keys)
{
    std::string value;
    switch (setting.getType()) {
    case Setting::TypeInt:
        value = streamed(static_cast<int>(setting));
        break;
    case Setting::TypeInt64:
        value = streamed(static_cast<long long>(setting));
        break;
    case Setting::TypeFloat:
        // In single precision, so that 0.1 is listed alike however it is stored.
        value = streamed(static_cast<float>(setting));
        break;
    case Setting::TypeString:
        value = setting.c_str();
        break;
    case Setting::TypeBoolean:
        value = truth_text(setting);
        break;
    case Setting::TypeGroup:
    case Setting::TypeArray:
    case Setting::TypeList:
        for (int at = 0; at < setting.getLength(); ++at)
            list_setting_keys(setting[at], keys);
        return;
    default:
        logger().error("Setting type ", static_cast<int>(setting.getType()), "is not supported");
        return;
    }
    keys.push_back(setting.getPath() + "=" + value);
}

} // namespace nyx
