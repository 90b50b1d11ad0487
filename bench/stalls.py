"""How long the event loop is held at worst: by a turn of it, that is all that runs between two
waits. The clock's time holds what else the machine did meanwhile; what is held against the limits
is that time less what the loop's thread was ready to run and had no processor. Each figure is the
median over runs of the longest turn of each."""
import contextlib
import dataclasses
import mmap
import os
import statistics
import struct
import subprocess
import time

from bench_node import BIN, OPTIONS, TOP, BenchNode, crowd, progress
import interfaces

LOOP_TURNS = os.path.join(BIN, "../lib/loop_turns.so")
SLOW_DISK = os.path.join(TOP, "harness/slow_disk.c")
WRITE_MS, RENAME_MS = 20, 50
RUNS, CYCLES = (2, 15) if OPTIONS.quick else (5, 60)
MONITORED = 20
TIMES = ("clock", "held", "CPU")
HELD = 1  # is what the limits are for


@dataclasses.dataclass(frozen=True)
class Case:
    title: str
    limit_ms: "float | None"
    period_ms: int = 200
    cycles: int = CYCLES
    others: int = 0
    interfaces: int = 0
    descriptors: int = 0
    slow_disk: bool = False
    begins: str = "later"         # when: at the loop's "start", after a report, when they "come"
    beyond: "Case | None" = None  # only what it adds to another case


NORMAL = Case("normal", 2)
CASES = (NORMAL,
         Case("1000 processes", None, others=1000),
         Case(f"slow disk, {WRITE_MS} ms a write, {RENAME_MS} ms a rename", 150, period_ms=2000,
              slow_disk=True, cycles=CYCLES // 6),
         Case("20000 descriptors, what they add", 8, descriptors=20000, beyond=NORMAL),
         Case("10000 processes, the first pass included", 35, period_ms=400, others=10000,
              begins="start", cycles=CYCLES // 3),
         Case("10000 processes that come at once", None, period_ms=5000, others=10000, begins="come",
              cycles=1),
         Case("5000 interfaces", 60, period_ms=1000, interfaces=5000, cycles=CYCLES // 3))


class LoopTurns:
    """The page that loop_turns.c writes: turns, and the longest of each of TIMES, nanoseconds."""

    FORM = struct.Struct("=4Q")

    def __init__(self, path):
        with open(path, "r+b") as file:
            self.page = mmap.mmap(file.fileno(), self.FORM.size)

    def reset(self):
        self.page[:] = bytes(self.FORM.size)

    def longest_ms(self):
        turns, *longest = self.FORM.unpack(self.page)
        if turns == 0:
            raise SystemExit("no turn of the daemon's loop was seen")
        return [ns / 1e6 for ns in longest]


def build_slow_disk(bench):
    """The library to be preloaded; what it goes by is in the file slow_disk."""
    disk = os.stat(bench.folder).st_dev
    with open(bench.path("slow_disk"), "wb") as file:
        file.write(struct.pack("=4q", disk, WRITE_MS * 10**6, RENAME_MS * 10**6, 0))
    library = bench.path("slow_disk.so")
    subprocess.run(["cc", "-O2", "-shared", "-fPIC", "-o", library, SLOW_DISK, "-ldl"], check=True)
    return library


def start_daemon(bench, case, programs):
    """With what measures it and what slows it down; once its first report has arrived."""
    environment = {"LD_PRELOAD": LOOP_TURNS, "VOS_LOOP_TURNS": bench.path("turns")}
    if case.slow_disk:
        environment["LD_PRELOAD"] += ":" + build_slow_disk(bench)
        environment["VOS_SLOW_DISK"] = bench.path("slow_disk")
    words = " ".join(f"{name}={value}" for name, value in environment.items())
    bench.log_as_installed().serve().start(
        MONITORED - 2, case.descriptors, f"/usr/bin/env {words} {programs}/vos_monitor")
    bench.wait_for_accepted(1)


def longest_turn(case, programs):
    """Of one run: milliseconds of each of TIMES."""
    with contextlib.ExitStack() as stack:
        bench = stack.enter_context(contextlib.closing(BenchNode(**{
            "Monitoring.builtin_commands": True, "Monitoring.report_freq": case.period_ms,
            "General.polling_rate_ms": 20})))
        start_daemon(bench, case, programs)
        turns = LoopTurns(bench.path("turns"))
        # Between two reports; and a certificate is kept once its file is older than a second.
        time.sleep(0.1 if case.begins == "come" else 1.1)
        if case.begins == "come":
            stack.enter_context(crowd("other", case.others))
            if bench.accepted() > 1:
                raise SystemExit("a report came in between: the machine is too slow for this")
            turns.reset()
        elif case.begins == "later":
            turns.reset()
        bench.wait_for_accepted(bench.accepted() + case.cycles)
        return turns.longest_ms()


def measure_case(case, builds):
    """By build: the medians over runs, which alternate, of each of TIMES."""
    runs = {name: [] for name in builds}
    with crowd("other", 0 if case.begins == "come" else case.others), interfaces.added(case.interfaces):
        for number in range(RUNS):
            progress(f"stalls, {case.title}: run {number + 1} of {RUNS} ...")
            for name, programs in builds.items():
                runs[name].append(longest_turn(case, programs))
    return {name: tuple(map(statistics.median, zip(*found))) for name, found in runs.items()}


def measure(builds):
    """{case: {build: TIMES}} in ms; `builds` are folders of programs by name."""
    found = {case: measure_case(case, builds) for case in CASES}
    for case in CASES:
        if case.beyond:
            found[case] = {name: tuple(max(0, a - b) for a, b in zip(figures, found[case.beyond][name]))
                           for name, figures in found[case].items()}
    return found


def show(found):
    builds = list(next(iter(found.values())))
    print(f"\nLongest turn of the loop, milliseconds, median of {RUNS} runs")
    print(f"  {'':<42}" + "".join(f"{name:>24}" for name in builds) + f"{'limit':>7}")
    print(f"  {'':<42}" + "".join(f"{name:>8}" for name in TIMES) * len(builds))
    for case, by_build in found.items():
        print(f"  {case.title:<42}" + "".join(f"{ms:8.2f}" for times in by_build.values()
                                              for ms in times) + f"{case.limit_ms or '-':>7}")


def check(limits, found):
    """Of the last build."""
    for case, by_build in found.items():
        if case.limit_ms is not None:
            limits.check(f"longest turn, {case.title}", list(by_build.values())[-1][HELD], "ms",
                         case.limit_ms, True)
