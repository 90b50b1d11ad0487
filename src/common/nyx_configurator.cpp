#include "common/nyx_configurator.h"

#include "common/reconfigure.h"
#include "config/includes.h"
#include "platform/file/atomic_file.h"
#include "platform/file/regular_file.h"
#include "platform/file/temporary_name.h"
#include "platform/file/text_file.h"
#include "platform/logger/sup_logger.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

namespace nyx {

namespace {

AConfigurator* installed = nullptr;

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("Configurator");
    return instance;
}

std::string file_text(const std::string& path)
{
    const bool regular{platform::stat_regular_file(path)};
    auto content = regular ? platform::read_text_file(path) : std::nullopt;
    if (!content)
        throw FileNotFound("Could not open configuration file - " + path);
    return std::move(*content);
}

} // namespace

AConfigurator::AConfigurator(const char* file_name, bool print_only)
    : m_file_name(file_name), m_print_only(print_only), m_file_lock(m_file_name + ".lock", m_file_name)
{
    if (!m_file_name.empty())
        read_file();
}

void AConfigurator::read_file()
{
    m_file_lock.read_lock();
    std::string obstacle;
    try {
        // libconfig's scanner ends the whole process when it is given a directory.
        if (!platform::stat_regular_file(m_file_name))
            throw libconfig::FileIOException();
        if (const auto usable = check_includes_of_file(m_file_name); !usable) {
            obstacle = ": it " + usable.reason();
            throw libconfig::FileIOException();
        }
        config.readFile(m_file_name.c_str());
    } catch (const libconfig::FileIOException&) {
        m_file_lock.unlock();
        throw FileNotFound("Could not open configuration file - " + m_file_name + obstacle);
    }
    // A parse error leaves with the lock held: the next lock operation of this
    // process takes it over.
    m_file_lock.unlock();
}

bool AConfigurator::save_configuration()
{
    if (m_print_only) {
        config.write(stdout);
        return true;
    }
    m_file_lock.write_lock();
    bool saved = true;
    try {
        write_file(configuration_text(config));
    } catch (const std::exception& error) {
        logger().error("Error saving configuration: ", error.what());
        saved = false;
    }
    m_file_lock.unlock();
    return saved;
}

void AConfigurator::edit_file(const std::function<std::string(const std::string&)>& edit)
{
    m_file_lock.write_lock();
    try {
        const auto text = edit(file_text(m_file_name));
        libconfig::Config trial;
        trial.readString(text);
        write_file(text);
        config.readString(text);
    } catch (...) {
        m_file_lock.unlock();
        throw;
    }
    m_file_lock.unlock();
}

void AConfigurator::write_file(const std::string& text)
{
    platform::remove_leftovers(m_file_name); // no other writer is at work
    platform::replace_file(m_file_name, text,
                           {.mode = {}, .synced = true, .in_place = m_file_lock.is_held()});
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

std::string configuration_text(const libconfig::Config& config)
{
    char* text = nullptr;
    std::size_t size = 0;
    std::FILE* const out = ::open_memstream(&text, &size);
    if (out == nullptr)
        throw std::bad_alloc();
    config.write(out);
    const bool complete = std::fclose(out) == 0;
    const std::unique_ptr<char, decltype(&std::free)> owner(text, &std::free);
    if (!complete)
        throw std::bad_alloc();
    return {text, size};
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
