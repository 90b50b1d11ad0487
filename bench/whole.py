"""A whole report with builtins beside the least that the same can cost, in one process."""
import contextlib

from bench_node import OPTIONS, BenchNode, crowd, progress, run_bench

MONITORED, OTHERS = 20, 1000
MOST = 1.75  # of the floor
ROWS = (("report: create_report(), signed post", "report"),
        ("floor, with a full handshake", "floor"),
        ("floor, that takes up the last session", "floor_resumed"))


def measure():
    """Milliseconds of CPU by program."""
    progress("whole report and floors ...")
    seconds = 0.2 if OPTIONS.quick else 0.5
    with contextlib.closing(BenchNode(**{"Monitoring.builtin_commands": True})) as bench, \
            crowd("other", OTHERS):
        runs = run_bench(bench.log_as_installed().serve(), [
            "--benchmark_filter=whole/", f"--benchmark_min_time={seconds}",
            "--benchmark_repetitions=9", "--benchmark_report_aggregates_only=true",
            "--benchmark_enable_random_interleaving=true"], MONITORED)
    return {name: (runs["whole/" + name]["self"] + runs["whole/" + name]["children"]) / 1000
            for _, name in ROWS}


def ratio(found):
    return found["report"] / found["floor"]


def show(found):
    print(f"\nWhole report, {MONITORED} monitored of {OTHERS} other processes, builtins, CPU "
          "milliseconds")
    for title, name in ROWS:
        print(f"  {title:<44}{found[name]:9.3f}{found[name] / found['floor']:9.2f}")


def check(limits, found):
    limits.check(f"whole report / floor, {MONITORED} of {OTHERS} processes", ratio(found), "", MOST,
                 True)
