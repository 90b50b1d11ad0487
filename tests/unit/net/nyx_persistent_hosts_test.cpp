#include "net/nyx_persistent_hosts.h"

#include "platform/file/temporary_name.h"
#include "support/captured_log.h"
#include "support/temp_folder.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace {

struct Owner : PersistentHosts {
    Owner() : PersistentHosts("me") {}
    void persistent_hosts_save_internal(HostsTable& table) override { table = kept; }
    void persistent_hosts_load_internal(HostsTable& table) override { kept = table; }
    void lock() override { ++locks; }
    void unlock() override { --locks; }
    void save(const std::string& host)
    {
        kept = {{host, {"192.0.2.1"}}};
        persistent_hosts_save();
    }
    HostsTable kept;
    int locks{0};
};

TEST(PersistentHostsTest, a_malformed_line_costs_that_line_only)
{
    using namespace std::string_literals;
    const std::tuple<std::string, const char*, std::vector<std::size_t>> rows[] = {
        {"# comment\n\na 192.0.2.1 third # 9\n", "a 192.0.2.1\n", {}},
        {"b 192.0.2.2\na 192.0.2.9\nb 192.0.2.1", "a 192.0.2.9\nb 192.0.2.2\nb 192.0.2.1\n", {}},
        {"a\n \nb 192.0.2.256\n192.0.2.1\na https://x/\n a\t192.0.2.1\r\n",
         "a 192.0.2.1\n",
         {1, 2, 3, 4, 5}},
        {"\xff\xfe\x01 1\nb 192.0.2.2\0x\na 192.0.2.1"s, "a 192.0.2.1\n", {1, 2}},
    };
    for (const auto& [text, want, malformed] : rows) {
        const auto got = parse_persistent_hosts(text);
        EXPECT_EQ(format_persistent_hosts(got.table), want);
        EXPECT_EQ(got.malformed_lines, malformed) << text;
    }
}

TEST(PersistentHostsTest, is_written_when_it_changes_and_never_by_half)
{
    const TempFolder folder;
    const CapturedLog log;
    auto program = folder.file("prog");
    char* const before = std::exchange(program_invocation_name, program.data());
    Owner owner;
    program_invocation_name = before;
    const std::string name = "prog_me_persistent_hosts.txt";
    owner.persistent_hosts_load();
    EXPECT_EQ(log.text(), "Failed to open file " + folder.file(name) + "\n");
    owner.save("a");
    EXPECT_EQ(folder.read(name), "a 192.0.2.1\n");
    folder.write(name, "nonsense\nb 192.0.2.2\n");
    owner.save("a"); // nothing new
    owner.persistent_hosts_load();
    EXPECT_EQ(owner.kept, (HostsTable{{"b", {"192.0.2.2"}}}));
    EXPECT_TRUE(log.contains(folder.file(name) + ":1: no host and IPv4 address, line ignored"));

    const auto beside = platform::temporary_name(folder.file(name));
    std::filesystem::create_directory(beside); // nothing can be written
    owner.save("c");
    EXPECT_EQ(folder.read(name), "nonsense\nb 192.0.2.2\n");
    EXPECT_EQ(log.count("Failed to open file "), 2);
    std::filesystem::remove(beside);
    owner.save("c"); // it has not been written yet
    EXPECT_EQ(folder.read(name), "c 192.0.2.1\n");
    EXPECT_EQ(owner.locks, 0);
}

} // namespace
