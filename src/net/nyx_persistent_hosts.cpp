#include "net/nyx_persistent_hosts.h"

#include "platform/file/atomic_file.h"
#include "platform/file/temporary_name.h"
#include "platform/file/text_file.h"
#include "platform/logger/sup_logger.h"
#include "text/words.h"
#include "utils/nyx_helper.h"

#include <cerrno>
#include <exception>
#include <filesystem>
#include <mutex>
#include <utility>

namespace {

constexpr const char* file_name = "persistent_hosts.txt";
constexpr std::size_t most_named_lines = 20; ///< malformed ones; the rest is counted
constexpr std::size_t longest_name = 4096;   ///< of the program, for its directory

SupLogger& logger()
{
    static SupLogger& instance = SupLogger::get_instance("PersistentHosts");
    return instance;
}

std::string program_directory()
{
    const std::filesystem::path program =
        std::string(program_invocation_name).substr(0, longest_name);
    return program.has_parent_path() ? program.parent_path().string() : ".";
}

} // namespace

ParsedHosts parse_persistent_hosts(std::string_view text)
{
    ParsedHosts parsed;
    std::size_t number = 0;
    while (auto line = text::next_line(text)) {
        ++number;
        if (line->empty() || line->front() == '#')
            continue;
        const std::string host(text::next_word(*line));
        const std::string address(text::next_word(*line));
        if (nyx::Helper::is_valid_ip_address(address))
            parsed.table[host].push_back(address);
        else if (++parsed.malformed <= most_named_lines)
            parsed.malformed_lines.push_back(number);
    }
    return parsed;
}

std::string format_persistent_hosts(const HostsTable& table)
{
    std::string text;
    for (const auto& [host, addresses] : table) {
        for (const auto& address : addresses)
            text.append(host).append(" ").append(address).append("\n");
    }
    return text;
}

PersistentHosts::PersistentHosts() : m_path(program_directory() + "/" + file_name) {}

PersistentHosts::PersistentHosts(const std::string& owner)
    : m_path(std::string(program_invocation_name) + "_" + owner + "_" + file_name)
{
}

void PersistentHosts::persistent_hosts_load()
{
    const std::lock_guard<PersistentHosts> guard(*this);
    try {
        load();
    } catch (const std::exception& error) {
        logger().error("persistent_hosts_load: ", m_path, ": ", error.what());
    }
}

void PersistentHosts::load()
{
    m_table.clear();
    platform::remove_leftovers(m_path);
    const auto text = platform::read_text_file(m_path);
    if (!text) {
        logger().warning("Failed to open file ", m_path);
        return;
    }
    auto parsed = parse_persistent_hosts(*text);
    for (const auto number : parsed.malformed_lines)
        logger().warning("persistent_hosts_load: ", m_path, ":", number,
                         ": no host and IPv4 address, line ignored");
    if (parsed.malformed > parsed.malformed_lines.size())
        logger().warning("persistent_hosts_load: ", m_path, ": ", parsed.malformed,
                         " such lines in all");
    m_table = std::move(parsed.table);
    persistent_hosts_load_internal(m_table);
}

void PersistentHosts::persistent_hosts_save()
{
    const std::lock_guard<PersistentHosts> guard(*this);
    try {
        save();
    } catch (const std::exception& error) {
        logger().warning("Failed to open file ", m_path, ": ", error.what());
    }
}

void PersistentHosts::save()
{
    HostsTable table;
    persistent_hosts_save_internal(table);
    if (table == m_table) {
        logger().debug("Skipping save persistent hosts", m_path);
        return;
    }
    platform::replace_file(m_path, format_persistent_hosts(table));
    m_table = std::move(table);
}
