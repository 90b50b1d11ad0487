// AConfigurator's file, and its tree as the text of one.
#include "common/nyx_configurator.h"
#include "config/includes.h"
#include "platform/file/atomic_file.h"
#include "platform/file/regular_file.h"
#include "platform/file/temporary_name.h"
#include "platform/file/text_file.h"
#include "platform/logger/sup_logger.h"

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <new>
#include <stdexcept>
#include <utility>

namespace nyx {

namespace {

std::string file_text(const std::string& path)
{
    const bool regular{platform::stat_regular_file(path)};
    auto content = regular ? platform::read_text_file(path) : std::nullopt;
    if (!content)
        throw FileNotFound("Could not open configuration file - " + path);
    return std::move(*content);
}

} // namespace

void AConfigurator::require_file() const
{
    if (m_file_name.empty())
        throw FileNotFound("Could not open configuration file - ");
}

void AConfigurator::read_file()
{
    require_file();
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
    try {
        const auto text = readable_configuration_text(config);
        with_write_lock([&] { write_file(text); });
        return true;
    } catch (const FileLockFailure&) {
        throw;
    } catch (const std::exception& error) {
        SupLogger::get_instance("Configurator").error("Error saving configuration: ", error.what());
        return false;
    }
}

void AConfigurator::edit_file(const std::function<std::string(const std::string&)>& edit)
{
    with_write_lock([&] {
        const auto text = edit(file_text(m_file_name));
        libconfig::Config trial;
        trial.readString(text);
        write_file(text);
        config.readString(text);
    });
}

void AConfigurator::with_write_lock(const std::function<void()>& step)
{
    require_file();
    m_file_lock.write_lock();
    try {
        step();
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

std::string readable_configuration_text(const libconfig::Config& config)
{
    auto text = configuration_text(config);
    try {
        libconfig::Config again;
        again.readString(text);
    } catch (const libconfig::ParseException& error) {
        throw std::runtime_error("line " + std::to_string(error.getLine()) +
                                 " of it could not be read again");
    }
    return text;
}

} // namespace nyx
