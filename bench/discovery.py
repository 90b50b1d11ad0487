"""What finding the processes costs: the programs run, and their commands answered from /proc."""
import contextlib

from bench_node import OPTIONS, BenchNode, crowd, progress, run_bench

TREES = (10, 100) if OPTIONS.quick else (10, 100, 500)           # monitored processes
MACHINES = (200, 2000) if OPTIONS.quick else (200, 2000, 10000)  # others beside them
SETTINGS = ("programs", "builtins")
TYPICAL, OTHERS, MANY = 20, 1000, 10000


@contextlib.contextmanager
def node_of(setting):
    bench = BenchNode(**{"Monitoring.builtin_commands": setting == "builtins"})
    with contextlib.closing(bench):
        yield bench.log_as_installed().serve()


def measure():
    """CPU of the daemon and its commands in ms: {(setting, tree, others): of discovery}, and
    {setting: (create_report, post, 99th percentile, worst)} of a typical report."""
    found, typical = {}, {}
    for setting in SETTINGS:
        with node_of(setting) as bench:
            for others in MACHINES:
                with crowd("other", others):
                    for tree in TREES:
                        progress(f"discovery, {setting}: {tree} of {others} processes ...")
                        run = run_bench(bench, ["discovery", "--benchmark_min_time=0.1"], tree)
                        found[setting, tree, others] = cpu_ms(run["report/discovery"])
            with crowd("other", OTHERS):
                progress(f"whole report, {setting} ...")
                typical[setting] = run_bench(bench, [
                    "--benchmark_filter=report/(create_report|post|discovery|floor)",
                    f"--benchmark_min_time={0.3 if OPTIONS.quick else 2}"], TYPICAL)
    return {"found": found, "typical": typical}


def cpu_ms(run):
    return (run["self"] + run["children"]) / 1000


def whole_ms(runs):
    return cpu_ms(runs["report/create_report"]) + cpu_ms(runs["report/post"])


def typical_ms(measured):
    """By setting: the pieces of a report of a typical machine."""
    return {setting: {name: cpu_ms(runs["report/" + name]) for name in ("discovery", "post")}
            for setting, runs in measured["typical"].items()}


def show(measured):
    print("\nProcess discovery, CPU of the daemon and of the commands it runs, milliseconds")
    print(f"  {'other processes':<20}" + "".join(f"{others:>12}{'':12}" for others in MACHINES))
    print(f"  {'':<20}" + "".join(f"{setting:>12}" for setting in SETTINGS) * len(MACHINES))
    for tree in TREES:
        print(f"  {f'{tree} monitored':<20}" + "".join(
            f"{measured['found'][setting, tree, others]:12.2f}"
            for others in MACHINES for setting in SETTINGS))
    print(f"\nWhole signed report, {TYPICAL} monitored of {OTHERS} other processes, CPU milliseconds")
    print("  " + " " * 32 + "".join(f"{setting:>12}" for setting in SETTINGS))
    rows = [("discovery", lambda runs: cpu_ms(runs["report/discovery"])),
            ("create_report() as a whole", lambda runs: cpu_ms(runs["report/create_report"])),
            ("  99th percentile, self", lambda runs: runs["report/create_report"]["p99"] / 1000),
            ("signed HTTPS post", lambda runs: cpu_ms(runs["report/post"])),
            ("report and post", whole_ms),
            ("floor of the readers", lambda runs: cpu_ms(runs["report/floor"]))]
    for title, figure in rows:
        print(f"  {title:<32}" + "".join(f"{figure(measured['typical'][setting]):12.2f}"
                                         for setting in SETTINGS))


def check(limits, measured):
    builtins = measured["typical"]["builtins"]
    limits.check(f"create_report(), 99th percentile, {OTHERS} processes, builtins",
                 builtins["report/create_report"]["p99"] / 1000, "ms", 5)
