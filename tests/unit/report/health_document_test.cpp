#include "report/health_document.h"

#include "platform/file/text_file.h"
#include "stats/proc_stats.h"
#include "support/signing_store.h"
#include "unit/stats/fake_proc.h"

#include <gtest/gtest.h>

namespace {

/// A copy of the captured /proc in which one of its processes is this one.
struct OwnProc : FakeProc {
    OwnProc()
    {
        // The counters that the process keeps begin at zero, whatever ran before.
        write("stat", "cpu  0 0 0 0 0 0 0 0 0 0\n");
        ProcCpuStats::read_total_cpu_stats(path());
        Process::reset_globals();
        std::filesystem::remove(file("stat"));
        std::filesystem::copy(captured_proc, path(), std::filesystem::copy_options::recursive);
        const auto self = std::to_string(::getpid());
        std::filesystem::rename(file("6204"), file(self));
        for (const char* fd : {"/fd/0", "/fd/1", "/fd/2"})
            write(self + fd, "");
    }
};

TEST(HealthDocument, of_a_captured_machine_is_as_it_was)
{
    const OwnProc proc;
    SigningStore store("vos_id=\"node-7\";vos_public_ip=\"192.0.2.7\";quiet_node=true;"
                       "max_thread_runtime_ms=5000;");
    ProcessesManager processes(proc.path());
    HealthDocument document(&*store.conf, proc.path(), processes);
    document.load_metadata();
    auto root = document.collect(::getpid());
    // In the place of what the moment or this machine decides, what kind of value it is.
    auto& cpu = root["machine-info"]["cpu"];
    for (auto* value : {&root["timestamp"], &cpu["total"], &cpu["num-of-cores"]})
        *value = value->type_name();
    for (auto& value : cpu["cpu-stats"])
        value = value.type_name();
    EXPECT_EQ(HealthDocument::transmitted_text(root) + "\n",
              platform::read_text_file(VOS_FIXTURES "/report/two_cores.json"));
    store.remove("datacenter_id");
    document.load_metadata();
    EXPECT_EQ(document.collect(::getpid()).at("datacenter_id"), "N/A");
}

} // namespace
