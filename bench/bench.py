#!/usr/bin/env python3
"""Measures what a health report costs, and says which limits are missed.

Everything runs in network, mount and pid namespaces of its own, against the real server on
127.0.0.1. Exit status 1 when a limit is missed.
"""
import contextlib
import os
import sys
import time

from bench_node import (BIN, OPTIONS, BenchNode, Limits, crowd, own_cpu_seconds, progress,
                        run_bench)
import discovery
import node
import peers
import readme_table
import scale
import stalls
import whole

SIZES = (5, 20, 100)  # monitored processes
TYPICAL = 20
PIECES = (("process discovery", "discovery"), ("TCP memory command", "tcp_memory"),
          ("readers", "readers"), ("serialisation", "serialisation"), ("local copy", "local_copy"))
COUNTS = (200, 1000) if OPTIONS.quick else (1000, 10000)  # reports, before memory is looked at
SHARE_SECONDS, OTHERS = 10 if OPTIONS.quick else 60, 1000
SIGNED = ("readers", "serialisation", "local_copy", "post")


def measure_pieces(bench, size):
    """The medians of all benchmarks with `size` monitored processes, by name."""
    progress(f"one report of {size} processes ...")
    times, seconds = (3, 0.05) if OPTIONS.quick else (9, 0.2)
    arguments = [f"--benchmark_min_time={seconds}", f"--benchmark_repetitions={times}",
                 "--benchmark_report_aggregates_only=true",
                 "--benchmark_enable_random_interleaving=true"]
    return run_bench(bench, arguments + ([] if size == TYPICAL else ["--benchmark_filter=report/"]),
                     size)


def measure_memory(counts):
    """Resident memory of a daemon after so many reports, by count."""
    # The period leaves time for the post: a report that falls due before that is made in vain.
    bench = BenchNode(log="WARN", **{"Monitoring.report_freq": 100, "General.polling_rate_ms": 10})
    with contextlib.closing(bench):
        bench.serve().start()
        memory = {}
        for count in counts:
            progress(f"memory after {count} reports ...")
            bench.wait_for_accepted(count)
            memory[count] = bench.memory_kib()
        return memory


def measure_own_share(seconds, extra):
    """CPU of the daemon itself in percent of a core, on a machine of so many more processes."""
    bench = BenchNode(**{"Monitoring.report_freq": seconds * 1000, "General.polling_rate_ms": 1000})
    with contextlib.closing(bench), crowd("other", extra):
        bench.log_as_installed().serve().start().wait_for_accepted(1)
        progress(f"the daemon's own share of {seconds} s ...")
        time.sleep(seconds / 3)  # from between two reports to between two reports
        end = time.monotonic() + seconds
        before = own_cpu_seconds(bench.daemon_pid)
        time.sleep(end - time.monotonic())
        used = own_cpu_seconds(bench.daemon_pid) - before
        if bench.accepted() != 2:
            sys.exit(f"{bench.accepted() - 1} reports in the window, not one")
        return 100 * used / seconds


# --- what is told

def print_collectors(results):
    print(f"\nOne collector alone, microseconds{'self CPU':>24}{'wall':>9}")
    for name, figures in results.items():
        if name.startswith("collector/"):
            print(f"  {name.removeprefix('collector/'):<44}{figures['self']:11.1f}"
                  f"{figures['wall']:9.1f}")


def print_row(title, cells):
    print((f"  {title:<27}" + "".join(f"{cell:>9}" for cell in cells)).rstrip())


def print_report(by_size):
    print("\nOne report, microseconds (self CPU, CPU of the commands it runs, wall)")
    print_row("monitored processes", [cell for size in SIZES for cell in (size, "", "")])
    print_row("", ["self", "commands", "wall"] * len(SIZES))

    def row(title, name):
        print_row(title, [f"{by_size[size]['report/' + name][kind]:.0f}"
                          for size in SIZES for kind in ("self", "children", "wall")])

    for title, name in PIECES:
        row(title, name)
    row("create_report() as a whole", "create_report")
    row("signed HTTPS post", "post")
    row("floor of the readers", "floor")
    print_row("readers / floor", [cell for size in SIZES
                                  for cell in (f"{ratio_to_floor(by_size[size]):.2f}", "", "")])


def ratio_to_floor(results):
    return results["report/readers"]["self"] / results["report/floor"]["self"]


def print_rest(typical, memory, share):
    signed, command = signed_ms(typical), typical["report/tcp_memory"]["children"] / 1000
    print(f"\nWhole signed report without discovery, {TYPICAL} processes, milliseconds"
          f"\n  self CPU {signed:44.3f}\n  and the TCP memory command's{signed + command:25.3f}")
    columns = next(iter(memory.values()))
    print("\nMemory of the daemon, KiB" + "".join(f"{name:>14}" for name in columns))
    for count, figures in memory.items():
        cells = "".join(f"{kib:14}" for kib in figures.values())
        print(f"  after {count:>6} reports      {cells}")
    print(f"\nThe daemon's own CPU, one report in {SHARE_SECONDS} s, {OTHERS} more processes running"
          f"\n  {share:.3f} % of a core")


def signed_ms(typical):
    return sum(typical["report/" + name]["self"] for name in SIGNED) / 1000


def check_report(limits, by_size):
    typical = by_size[TYPICAL]
    limits.check(f"readers / floor, {TYPICAL} processes", ratio_to_floor(typical), "", 3, True)
    limits.check("serialisation, 100 processes",
                 by_size[100]["report/serialisation"]["self"] / 1000, "ms", 1)
    limits.check(f"whole signed report without discovery, CPU, {TYPICAL} processes",
                 signed_ms(typical), "ms", 3.5)


def check_daemon(limits, memory, share):
    few, many = memory
    limits.check("VmRSS", max(kib["VmRSS"] for kib in memory.values()) / 1024, "MiB", 14)
    limits.check(f"growth from {few} to {many} reports",
                 memory[many]["VmRSS"] - memory[few]["VmRSS"], "KiB", 256)
    if not OPTIONS.quick:  # which reports six times as often as the limit is meant for
        limits.check("the daemon's own share of a core", share, "%", 0.1, True)


def main():
    with contextlib.closing(BenchNode().log_as_installed().serve()) as bench:
        by_size = {size: measure_pieces(bench, size) for size in SIZES}
    memory = measure_memory(COUNTS)
    share = measure_own_share(SHARE_SECONDS, OTHERS)
    parts = [(part, part.measure()) for part in (discovery, whole, peers)]
    parts.append((stalls, stalls.measure({"now": BIN})))
    parts.append((scale, scale.measure()))  # last: its interfaces stay

    print(f"{os.cpu_count()} processors, Linux {os.uname().release}")
    print_collectors(by_size[TYPICAL])
    print_report(by_size)
    print_rest(by_size[TYPICAL], memory, share)
    for part, found in parts:
        part.show(found)
    print("\nLimits")
    limits = Limits()
    check_report(limits, by_size)
    check_daemon(limits, memory, share)
    for part, found in parts:
        part.check(limits, found)
    if OPTIONS.markdown:
        found = dict(parts)
        readme_table.show_report(found[whole], discovery.typical_ms(found[discovery]),
                                 ratio_to_floor(by_size[TYPICAL]))
        readme_table.show_once_a_second(found[peers])
        readme_table.show_stalls(found[stalls])
    return limits.report()


if __name__ == "__main__":
    obstacle = node.isolate()  # starts this script again, in namespaces
    sys.exit(obstacle or main())
