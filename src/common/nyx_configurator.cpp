#include "common/nyx_configurator.h"

#include "common/reconfigure.h"
#include "platform/logger/sup_logger.h"

#include <exception>
#include <stdexcept>
#include <string>

namespace nyx {

namespace {

AConfigurator* installed = nullptr;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Configurator");
    return instance;
}

} // namespace

AConfigurator::AConfigurator(const char* file_name, bool print_only)
    : m_file_name(file_name), m_print_only(print_only),
      m_file_lock(m_file_name + ".lock", m_file_name)
{
    if (!m_file_name.empty())
        read_file();
}

void AConfigurator::reload_configuration()
{
    if (m_file_name.empty())
        throw "Unable to reload transient configurator";
    if (m_reconf_disabled)
        return;
    try {
        read_file();
    } catch (const std::exception& error) {
        logger().error("Exception caught reloading configuration file: ",
                       configuration_error_text(error));
        return;
    }
    reconfigure_components();
    post_reconfigure_components();
}

libconfig::Setting* AConfigurator::find_setting(const std::string& path) const
{
    try {
        return path.empty() ? &config.getRoot() : &config.lookup(path);
    } catch (const libconfig::SettingException&) {
        return nullptr;
    }
}

std::string configuration_error_text(const std::exception& error)
{
    const auto* parse = dynamic_cast<const libconfig::ParseException*>(&error);
    if (parse == nullptr)
        return error.what();
    const char* file = parse->getFile();
    return std::string(file != nullptr ? file : "") + ":" + std::to_string(parse->getLine()) +
           ": " + parse->getError();
}

AConfigurator& get_static_configurator()
{
    static AConfigurator configurator("nyx.conf", false);
    return configurator;
}

void TheConfigurator::set_configurator(AConfigurator* configurator)
{
    installed = configurator;
}

bool TheConfigurator::is_installed()
{
    return installed != nullptr;
}

AConfigurator& TheConfigurator::get_configuration()
{
    return installed != nullptr ? *installed : get_static_configurator();
}

// The one operation of a component that needs the store; here, because the
// store calls all the others.
bool IReconfigure::bool_get(const char* key)
{
    bool value{};
    if (!TheConfigurator::get_configuration().config.lookupValue(key, value))
        throw std::runtime_error(std::string("ERROR couldn't find the parameter of ") + key);
    return value;
}

} // namespace nyx
