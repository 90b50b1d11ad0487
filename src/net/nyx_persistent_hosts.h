// The addresses where hosts were last found, kept in a text file across
// restarts.
#pragma once

#include <list>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/// Addresses by host name, in file order.
using HostsTable = std::map<std::string, std::list<std::string>>;

struct ParsedHosts {
    HostsTable table;
    std::size_t malformed{};                  ///< lines
    std::vector<std::size_t> malformed_lines; ///< numbers, from 1, of the first few
};

/// Reads "host address" lines. Empty lines and those that begin with "#" are
/// passed over, and so is all that follows the address. A line whose second
/// word is no IPv4 address, or is missing, is malformed. Pure.
ParsedHosts parse_persistent_hosts(std::string_view text);

/// The text that parse_persistent_hosts() reads `table` from. Pure.
std::string format_persistent_hosts(const HostsTable& table);

/// The file and the table in it. Its owner says, through the two hooks, what
/// goes in and what comes out. Failures are logged; nothing throws.
class PersistentHosts {
public:
    /// "persistent_hosts.txt" in the directory of the program's invocation name.
    PersistentHosts();
    /// The program's invocation name, "_", `owner`, "_persistent_hosts.txt".
    explicit PersistentHosts(const std::string& owner);
    PersistentHosts(const PersistentHosts&) = delete;
    PersistentHosts& operator=(const PersistentHosts&) = delete;
    virtual ~PersistentHosts() = default;

    /// Reads the file and hands its table to the owner; a malformed line costs
    /// a warning and that line. Without a file the owner is not asked.
    void persistent_hosts_load();
    /// Has the owner fill a table, and replaces the file as a whole when it
    /// differs from the last one. On failure the old file stays.
    void persistent_hosts_save();

    /// The owner fills, or takes from, the table.
    virtual void persistent_hosts_save_internal(HostsTable& table) = 0;
    virtual void persistent_hosts_load_internal(HostsTable& table) = 0;

    /// Around loading and saving; for owners that threads share.
    virtual void lock() {}
    virtual void unlock() {}

private:
    void load();
    void save();

    std::string m_path;
    HostsTable m_table;
};
