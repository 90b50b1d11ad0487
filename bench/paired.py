#!/usr/bin/env python3
"""Compares what two builds of the daemon cost, side by side on this machine.

BUILD OLD first, then NEW, which has the benchmarks. They take turns: pairs of windows at a report
a second, then the longest stalls of both.
"""
import statistics
import sys

from bench_node import BUILDS, OPTIONS, Limits, progress
import hertz
import node
import readme_table
import stalls

PAIRS = 4 if OPTIONS.quick else 10
RATIO = 0.78


def measure_pairs(old, new):
    """Milliseconds of CPU a report: (old, new) of each pair. Who is first alternates."""
    pairs = []
    for number in range(PAIRS):
        progress(f"pair {number + 1} of {PAIRS} ...")
        order = (0, 1) if number % 2 == 0 else (1, 0)
        cost = {which: hertz.cpu_of_daemon((old, new)[which]) for which in order}
        pairs.append((cost[0], cost[1]))
    return pairs


def quartiles(values):
    """(lower, median, upper)"""
    return statistics.quantiles(values, method="inclusive")


def show(pairs):
    print(f"\nCPU of one report, a report a second, {hertz.MONITORED} monitored processes, "
          f"milliseconds\n  {'':<24}{'median':>9}{'quartiles':>18}")
    columns = list(zip(*pairs)) + [[new / old for old, new in pairs]]
    for title, values in zip(("before", "now", "now / before, by pair"), columns):
        low, middle, high = quartiles(values)
        print(f"  {title:<24}{middle:9.3f}{low:9.3f}{high:9.3f}")
    return quartiles(columns[-1])[1]


def main():
    if len(BUILDS) != 2:
        sys.exit("two builds are compared: OLD NEW")
    old, new = BUILDS
    pairs = measure_pairs(old, new)
    ratio = show(pairs)
    sys.stdout.flush()
    held = stalls.measure({"before": old, "now": new})
    stalls.show(held)
    print("\nLimits")
    limits = Limits()
    limits.check("CPU of one report, now / before", ratio, "", RATIO, True)
    stalls.check(limits, held)
    if OPTIONS.markdown:
        readme_table.show_stalls(held)
    return limits.report()


if __name__ == "__main__":
    obstacle = node.isolate()  # starts this script again, in namespaces
    sys.exit(obstacle or main())
