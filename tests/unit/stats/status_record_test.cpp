// The status record between processes: written here, read by vosctl.
#include "fake_proc.h"
#include "stats/machine_info.h"
#include "stats/monitor_system.h"
#include "stats/proc_stats.h"
#include "support/captured_log.h"
#include "utils/nyx_status_data.h"

#include <gmock/gmock.h>
#include <sys/mman.h>

#include <thread>

namespace {

using nyx::Helper;
using testing::EndsWith;

const std::string name = "vos_test." + std::to_string(::getpid());
const std::string scripts = VOS_FIXTURES "/iptables/";
const std::string search_path = ::getenv("PATH");

struct StatusRecord : testing::Test {
    static void SetUpTestSuite() { nyx_utils::status_record(name); }
    static void TearDownTestSuite() { ::shm_unlink(name.c_str()), ::sem_unlink(name.c_str()); }
    StatusRecord()
    {
        nyx_utils::shared_mem_enabled = true;
        ::setenv("PATH", (scripts + ":" + search_path).c_str(), 1); // the scripted iptables
        ::setenv("FAKE_IPTABLES", folder.path().c_str(), 1);
    }
    ~StatusRecord() override { nyx_utils::shared_mem_enabled = false; }

    /// What the vosctl beside this program says, with its exit status behind it.
    static std::string vosctl(const std::string& arguments)
    {
        return Helper::run_cmd("$(dirname $(readlink /proc/$PPID/exe))/vosctl record --name " +
                               name + arguments + " 2>&1; echo $?");
    }
    TempFolder folder;
    nyx_utils::NyxStatusData& record = nyx_utils::status_record().record();
};

std::string outcome(std::uint32_t (*get)())
{
    try {
        return std::to_string(get());
    } catch (const std::logic_error& error) {
        return typeid(error).name() + std::string(error.what());
    }
}

TEST_F(StatusRecord, drops_by_a_scripted_iptables)
{
    const struct {
        const char *printed, *zeroing, *want, *logged;
        bool zeroed{true};
    } cases[] = {{"   17  900 DROP all\n", "0", "17", ""},
                 {"4294967295 1\n", "0", "4294967295", ""},
                 {"", "0", "0", "Failed to retrieve iptables ", false},
                 {"5 1\n", "3", "5", "An error occurred while running:iptables -Z "},
                 {"none 1\n", "0", "St16invalid_argumentstoul", "", false},
                 {"4294967296 1\n", "0", "St12out_of_rangestoul", ""},
                 {"99999999999999999999 1\n", "0", "St12out_of_rangestoul", "", false}};
    for (const auto& [printed, zeroing, want, logged, zeroed] : cases) {
        const CapturedLog log;
        folder.write("calls", "");
        folder.write("printed", printed);
        folder.write("zeroing", zeroing);
        record.icmp_drops = record.syn_drops = 99;
        EXPECT_EQ(outcome(get_icmp_flood_drop), want);
        EXPECT_EQ(outcome(get_syn_flood_drop), want);
        EXPECT_TRUE(log.contains(logged)) << log.text();
        EXPECT_EQ(record.icmp_drops, std::isdigit(*want) != 0 ? std::stoul(want) : 99);
        EXPECT_EQ(record.syn_drops, record.icmp_drops);
        EXPECT_EQ(folder.read("calls").ends_with("-Z syn-rate-limit\n"), zeroed) << printed;
    }
}

TEST_F(StatusRecord, drops_by_the_real_iptables)
{
    ::setenv("PATH", search_path.c_str(), 1);
    std::string obstacle = "no network namespace";
    // In a thread: only it, and the commands that it runs, move to the other network.
    std::thread([&] {
        if (::unshare(CLONE_NEWNET) != 0 ||
            Helper::run_cmd_stderr(scripts + "flood_chains.sh", obstacle) != 0)
            return;
        obstacle.clear();
        for (const char* count : {"5", "0", "3"}) {
            Helper::run_cmd(scripts + "send_udp.sh " + count + " 7");
            Helper::run_cmd(scripts + "send_udp.sh 1" + count + " 9");
            EXPECT_EQ(outcome(get_icmp_flood_drop), count);
            EXPECT_EQ(outcome(get_syn_flood_drop), std::string("1") + count);
        }
    }).join();
    if (!obstacle.empty())
        GTEST_SKIP() << obstacle;
}

TEST_F(StatusRecord, is_written_by_all_and_lost_to_a_killed_holder)
{
    nyx_monitor::MachineCpuInfo cpu(false, captured_proc, 2);
    const auto write_all = [&] {
        Process::update_system_stats();
        EXPECT_TRUE(nyx_monitor::MachineRamInfo(captured_proc).read_mem());
        EXPECT_TRUE(cpu.read_cpu(1000) && cpu.read_cpu(2000));
    };
    const Process self("self", ::getpid());
    write_all();
    const auto said = vosctl(" --json");
    ASSERT_THAT(said, EndsWith("}\n0\n"));
    const auto read = libvariant::read_json(said.substr(0, said.size() - 2));
    EXPECT_TRUE(read["max_fd_ratio"] > 0.0 && read["ram_usage"] > 0.0) << said;
    EXPECT_TRUE(read["cpu_usage"] == 100.0 && read["writer_pid"] == ::getpid()) << said;

    if (const pid_t holder = ::fork(); holder != 0)
        ::waitpid(holder, nullptr, 0);
    else if (nyx_utils::status_record().lock())
        ::raise(SIGKILL);
    const CapturedLog log;
    record.written_at -= 61;
    record.writer_pid = 1;
    const auto start = std::chrono::steady_clock::now();
    write_all();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(8)) << "four waits";
    const std::string failed = "Failed locking shared memory for PN9nyx_utils";
    EXPECT_EQ(log.count("Shared memory out of sync\n"), 4);
    EXPECT_EQ(log.count(failed + "13NyxStatusDataE\n"), 3);
    EXPECT_TRUE(log.contains("\nupdate_system_stats: " + failed +
                             "12SharedObjectINS_13NyxStatusDataEEE object\n"));
    EXPECT_THAT(vosctl(""), EndsWith("the holder may be dead\n1\n"));
    EXPECT_EQ(record.writer_pid, 1);
    EXPECT_TRUE(nyx_utils::status_record().unlock());
}

TEST_F(StatusRecord, what_a_reader_can_not_use)
{
    const auto said = [this](std::uint32_t layout, int age, const char* arguments) {
        record.layout = layout;
        record.written_at = std::time(nullptr) - age;
        return vosctl(arguments);
    };
    EXPECT_THAT(said(1, 50, ""), EndsWith("layout version  1\n0\n"));
    EXPECT_THAT(said(1, 61, " --json"), EndsWith(" s\n1\n"));
    EXPECT_THAT(said(2, 0, ""), EndsWith("its layout version is 2, not 1\n1\n"));
    EXPECT_THAT(said(0, 0, ""), EndsWith("nothing has been written to it yet\n1\n"));
    for (int twice = 0; twice < 2; ++twice) // a reader makes none
        EXPECT_THAT(said(1, 0, ".none"), EndsWith("No such file or directory\n1\n"));
    EXPECT_THAT(said(1, 0, " --name"), EndsWith("[--json] [--name NAME]\n2\n"));
}

} // namespace
