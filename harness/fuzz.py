"""Fuzzes the pure parsers, and tells how much of them the inputs reach.

./dev fuzz builds what this runs. New inputs are kept in build/fuzz/corpus; the seeds in the tree
are replayed by ./dev test.
"""
import argparse
import os
import re
import subprocess
import sys

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SEEDS = TOP + "/tests/fuzz/seeds/"
CORPUS = TOP + "/build/fuzz/corpus/"
# The parsers of each target: source files, and the functions there that are no parser.
PARSERS = {
    "dns_reply": (["dns/message.cpp"], ""),
    "hosts_file": (["net/nyx_persistent_hosts.cpp", "utils/nyx_helper.cpp", "net/ns_manager.cpp"],
                   "parse_|format_|names_a_server"),
    "proc_text": ([f"procfs/{name}.cpp" for name in
                   ("file_nr", "meminfo", "net_dev", "net_sockstat", "pid_children", "pid_limits",
                    "pid_maps", "pid_stat", "pid_status", "stat")] + ["text/words.cpp"], ""),
    "server_url": (["text/server_url.cpp", "net/zel_request.cpp"], "split_|build_"),
    "control_record": (["platform/ipc/ipc_record.cpp"], ""),
    "config_text": (["common/configurator_print.cpp", "common/config_list_iterator.cpp",
                     "config/setting_copy.cpp", "config/tree_merge.cpp",
                     "config/sequence_merge.cpp", "config/port_ranges.cpp"], ""),
}
LIMITS = ["-max_len=4096", "-timeout=5", "-rss_limit_mb=2048", "-print_final_stats=1", "-verbosity=1"]
ASAN = "quarantine_size_mb=16:detect_leaks=1"


def start(target, options):
    """libFuzzer on one target until its runs or its seconds are used up."""
    os.makedirs(CORPUS + target, exist_ok=True)
    log = open(f"{TOP}/build/fuzz/{target}.log", "w")
    return subprocess.Popen(
        [f"{TOP}/build/fuzz/bin/fuzz_{target}", CORPUS + target, SEEDS + target, *LIMITS,
         f"-artifact_prefix={TOP}/build/fuzz/{target}-", f"-runs={options.runs}",
         f"-max_total_time={options.seconds}"],
        stdout=log, stderr=log, env=dict(os.environ, ASAN_OPTIONS=ASAN))


def statistics(target):
    with open(f"{TOP}/build/fuzz/{target}.log") as log:
        text = log.read()
    runs = re.search(r"number_of_executed_units: (\d+)", text)
    seconds = re.search(r"Done (\d+) runs in (\d+) second", text)
    return (int(runs[1]) if runs else 0), (int(seconds[2]) if seconds else 0)


def fuzz(targets, options):
    waiting, running, failed = list(targets), [], []
    while waiting or running:
        while waiting and len(running) < options.jobs:
            running.append((waiting[0], start(waiting.pop(0), options)))
        target, process = running.pop(0)
        status = process.wait()
        runs, seconds = statistics(target)
        print(f"{target:16} {runs:>12,} executions in {seconds} s: "
              f"{'no finding' if status == 0 else f'status {status}, see build/fuzz/{target}.log'}",
              flush=True)
        if status != 0:
            failed.append(target)
    return failed


def coverage(target):
    """Lines of the target's parsers, and those of them that its inputs reach."""
    program = f"{TOP}/build/coverage/bin/fuzz_{target}"
    raw, data = (f"{TOP}/build/coverage/{target}.{end}" for end in ("profraw", "profdata"))
    folders = [folder for folder in (SEEDS + target, CORPUS + target) if os.path.isdir(folder)]
    subprocess.run([program, *folders], check=True, stdout=subprocess.DEVNULL,
                   env=dict(os.environ, LLVM_PROFILE_FILE=raw))
    subprocess.run(["llvm-profdata-14", "merge", raw, "-o", data], check=True)
    files, functions = PARSERS[target]
    table = subprocess.run(["llvm-cov-14", "report", "-show-functions", "-Xdemangler=c++filt",
                            "-Xdemangler=-n", "-instr-profile", data, program,
                            *(f"{TOP}/src/{file}" for file in files)],
                           check=True, capture_output=True, text=True).stdout
    lines = missed = 0
    for row in table.splitlines():
        # name, regions, missed, share, lines, missed, share, branches, missed, share
        cells = row.rsplit(None, 9)
        if len(cells) == 10 and cells[4].isdigit() and cells[0] != "TOTAL" and \
                re.search(functions, cells[0]):
            lines, missed = lines + int(cells[4]), missed + int(cells[5])
            if int(cells[5]):
                print(f"    {cells[5]} lines not reached in {cells[0]}")
    return lines - missed, lines


def main():
    arguments = argparse.ArgumentParser(prog="./dev fuzz", description=__doc__)
    arguments.add_argument("targets", nargs="*", default=list(PARSERS),
                           help="default: " + " ".join(PARSERS))
    arguments.add_argument("--runs", type=int, default=100_000_000)
    arguments.add_argument("--seconds", type=int, default=900, help="a target; default 900")
    arguments.add_argument("--jobs", type=int, default=os.cpu_count())
    options = arguments.parse_args()
    unknown = set(options.targets) - set(PARSERS)
    if unknown:
        arguments.error(f"no target {', '.join(unknown)}")
    failed = fuzz(options.targets, options)
    for target in options.targets:
        reached, lines = coverage(target)
        print(f"{target:16} {reached} of {lines} lines reached ({100 * reached / lines:.1f} %)")
        if reached < 0.95 * lines:
            failed.append(target)
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
