#include "net/nyx_persistent_hosts.h"

#include "support/captured_log.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <cerrno>
#include <csignal>

namespace {

/// Keeps its files in a folder of its own, as if the program stood there.
struct Owner : PersistentHosts {
    struct Program {
        explicit Program(std::string path) : name(std::move(path)), before(program_invocation_name)
        {
            program_invocation_name = name.data();
        }
        ~Program() { program_invocation_name = before; }
        std::string name;
        char* before;
    };
    explicit Owner(const TempFolder& folder) : Owner(std::make_unique<Program>(folder.file("prog")))
    {
    }
    explicit Owner(const std::unique_ptr<Program>&) : PersistentHosts("me") {}
    void persistent_hosts_save_internal(HostsTable& table) override { table = kept; }
    void persistent_hosts_load_internal(HostsTable& table) override { kept = table; }
    void lock() override { ++locks; }
    void unlock() override { --locks; }
    HostsTable kept;
    int locks{0};
};
constexpr const char* file = "prog_me_persistent_hosts.txt";

TEST(PersistentHostsTest, a_malformed_line_costs_that_line_only)
{
    const struct {
        const char* text;
        HostsTable table;
        std::vector<std::size_t> malformed;
    } rows[] = {
        {"", {}, {}},
        {"# comment\n\na 192.0.2.1 third # 9\n", {{"a", {"192.0.2.1"}}}, {}},
        {"b 192.0.2.2\na 192.0.2.9\nb 192.0.2.1",
         {{"a", {"192.0.2.9"}}, {"b", {"192.0.2.2", "192.0.2.1"}}},
         {}},
        {"  a \t192.0.2.1\r\n", {{"a", {"192.0.2.1"}}}, {}},
        {"a\n \nb 192.0.2.256\n192.0.2.1\na https://x/\na 192.0.2.1\n",
         {{"a", {"192.0.2.1"}}},
         {1, 2, 3, 4, 5}},
        {"\xff\xfe\x01 1\na 192.0.2.1", {{"a", {"192.0.2.1"}}}, {1}},
    };
    for (const auto& row : rows) {
        const auto got = parse_persistent_hosts(row.text);
        EXPECT_EQ(got.table, row.table) << row.text;
        EXPECT_EQ(got.malformed_lines, row.malformed) << row.text;
        EXPECT_EQ(parse_persistent_hosts(format_persistent_hosts(got.table)).table, got.table);
    }
    std::string garbage;
    for (int i = 0; i < 1000; ++i)
        garbage += "x\n";
    EXPECT_EQ(parse_persistent_hosts(garbage).malformed, 1000U);
    EXPECT_EQ(parse_persistent_hosts(garbage).malformed_lines.size(), 20U);
}

TEST(PersistentHostsTest, is_written_when_it_changes_and_never_by_half)
{
    const TempFolder folder;
    const CapturedLog log;
    Owner owner(folder);
    owner.kept = {{"a", {"192.0.2.1"}}};
    owner.persistent_hosts_load();
    EXPECT_EQ(log.text(), "Failed to open file " + folder.file(file) + "\n");
    EXPECT_EQ(owner.kept.size(), 1U) << "the owner was asked";
    owner.persistent_hosts_save();
    EXPECT_EQ(folder.read(file), "a 192.0.2.1\n");
    std::filesystem::remove(folder.file(file));
    owner.persistent_hosts_save();
    EXPECT_FALSE(std::filesystem::exists(folder.file(file)));
    EXPECT_TRUE(log.contains("Skipping save persistent hosts" + folder.file(file)));

    folder.write(file, "nonsense\nb 192.0.2.2\n");
    owner.persistent_hosts_load();
    EXPECT_EQ(owner.kept, (HostsTable{{"b", {"192.0.2.2"}}}));
    EXPECT_TRUE(log.contains(folder.file(file) + ":1: no host and IPv4 address, line ignored"));

    const auto before = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit small{100, limit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &small);
    owner.kept = {{std::string(500, 'x'), {"192.0.2.3"}}};
    owner.persistent_hosts_save();
    ::setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, before);
    EXPECT_EQ(folder.read(file), "nonsense\nb 192.0.2.2\n");
    EXPECT_EQ(log.count("Failed to open file "), 2);
    owner.persistent_hosts_save(); // tried again: the table has not been written yet
    EXPECT_EQ(folder.read(file), std::string(500, 'x') + " 192.0.2.3\n");
    EXPECT_EQ(owner.locks, 0);
}

} // namespace
