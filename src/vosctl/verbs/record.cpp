#include "vosctl/verbs/verbs.h"

#include "platform/variant/variant.h"
#include "utils/dual_nyx_helper.h"
#include "utils/nyx_status_data.h"

#include <ctime>
#include <iomanip>
#include <iostream>

namespace vosctl {

namespace {

using nyx_utils::NyxStatusData;

struct Options {
    bool json{false};
    std::string name{nyx_utils::DualNYXHelper::get_nyx_version_num()};
};

Options parse_options(const std::vector<std::string>& arguments)
{
    Options options;
    for (auto at = arguments.begin(); at != arguments.end(); ++at) {
        if (*at == "--json")
            options.json = true;
        else if (*at == "--name" && at + 1 != arguments.end())
            options.name = *++at;
        else
            throw UsageError{};
    }
    return options;
}

void print_for_people(const NyxStatusData& record, std::int64_t age)
{
    std::cout << std::fixed << std::setprecision(1) << "written         " << age << " s ago\n"
              << "writer          " << record.writer_pid << '\n'
              << "cpu             " << record.cpu_usage << " %\n"
              << "ram             " << 100.0 * record.ram_usage << " %\n"
              << "descriptors     " << 100.0 * record.max_fd_ratio << " % of a process's limit\n"
              << "icmp drops      " << record.icmp_drops << '\n'
              << "syn drops       " << record.syn_drops << '\n'
              << "layout version  " << record.layout << '\n';
}

void print_json(const NyxStatusData& record, std::int64_t age, bool stale)
{
    const libvariant::Variant shown{{"layout", record.layout},
                                    {"writer_pid", record.writer_pid},
                                    {"written_at", record.written_at},
                                    {"age_seconds", age},
                                    {"stale", stale},
                                    {"max_fd_ratio", record.max_fd_ratio},
                                    {"cpu_usage", record.cpu_usage},
                                    {"ram_usage", record.ram_usage},
                                    {"icmp_drops", record.icmp_drops},
                                    {"syn_drops", record.syn_drops}};
    std::cout << libvariant::write_json(shown, {{"pretty", true}}) << '\n';
}

int run(const CommandLine& line)
{
    const auto options = parse_options(line.arguments);
    const auto found = nyx_utils::read_status(options.name);
    if (!found) {
        std::cerr << "vosctl record: no status record " << options.name << ": " << found.reason()
                  << '\n';
        return exit_failed;
    }
    const std::int64_t age = std::time(nullptr) - found->written_at;
    const bool stale = age > nyx_utils::status_fresh_seconds;
    if (options.json)
        print_json(*found, age, stale);
    else
        print_for_people(*found, age);
    if (!stale)
        return exit_done;
    std::cerr << "vosctl record: the status record " << options.name
              << " is stale: nobody has written it for " << age << " s\n";
    return exit_failed;
}

} // namespace

constinit const Verb record_verb{
    .name = "record",
    .arguments = "[--json] [--name NAME]",
    .summary = "show what the agent publishes in shared memory; --json for programs",
    .help = "Shows what the agent publishes in shared memory.\n",
    .run = run,
};

} // namespace vosctl
