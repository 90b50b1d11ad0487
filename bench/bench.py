#!/usr/bin/env python3
"""Measures what a health report costs, and says which limits are missed.

Everything runs in network, mount and pid namespaces of its own, against the real server on
127.0.0.1. Exit status 1 when a limit is missed.
"""
import argparse, contextlib, glob, json, os, shutil, signal, subprocess, sys, time

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SIZES = (5, 20, 100)  # monitored processes
TYPICAL = 20
PIECES = (("process discovery", "discovery"), ("TCP memory command", "tcp_memory"),
          ("readers", "readers"), ("serialisation", "serialisation"), ("local copy", "local_copy"))
SIGNED = ("readers", "serialisation", "local_copy", "post")


def parse_options():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("build_folder", help="its bin/ holds the programs")
    parser.add_argument("--quick", action="store_true", help="fewer reports, shorter windows")
    return parser.parse_args()


OPTIONS = parse_options()
BIN = os.environ["VOS_BIN"] = os.path.join(os.path.abspath(OPTIONS.build_folder), "bin")
sys.path.insert(0, os.path.join(TOP, "harness"))
import node  # noqa: E402 (reads VOS_BIN)


def progress(text):
    print(text, file=sys.stderr, flush=True)


# --- what is measured

@contextlib.contextmanager
def running(program, count):
    """`count` idle processes of that program."""
    children = []
    try:
        for _ in range(count):
            children.append(subprocess.Popen([program, "infinity"]))
        yield
    finally:
        for child in children:
            child.kill()
        for child in children:
            child.wait()


class BenchNode(node.Node):
    """A node with a server that keeps no reports, and a daemon under a shell of its own."""

    def serve(self):
        with open("/opt/key") as key, open("/opt/crt") as certificate:
            self.write("server.pem", key.read() + certificate.read())
        self.server = self.run_in_background("server.log", [
            sys.executable, TOP + "/examples/report_server.py", "--cert", self.path("server.pem"),
            "--secret", node.SECRET, "--key-id", self.settings["General.datacenter_id"],
            "--period", str(self.settings["General.hmac_timeout"]),
            "--port-file", self.path("port"), "--print"])
        port = node.until(lambda: self.read("port"), "the server's port").strip()
        self.configure(**{"General.zel_report_url": f"https://127.0.0.1:{port}"})
        return self

    def log_as_installed(self):
        shutil.copy(TOP + "/examples/log4cpp.properties", self.path("log4cpp.properties"))
        return self

    def start(self):
        # The shell is the tree that is measured: neither the server nor what else runs here.
        self.daemon = self.run_in_background("out", [
            "/bin/sh", "-c", f"{BIN}/vos_monitor & echo $! >daemon.pid; wait"])
        self.daemon_pid = int(node.until(lambda: self.read("daemon.pid"), "the daemon's pid"))
        return self

    def accepted(self):
        with open(self.path("server.log"), "rb") as log:
            return sum(b" 200 " in line for line in log)

    def wait_for_accepted(self, count):
        told = time.monotonic()
        while (accepted := self.accepted()) < count:
            if self.daemon.poll() is not None:
                sys.exit("the daemon has ended: " + self.read("out"))
            if time.monotonic() > told + 10:
                told = time.monotonic()
                progress(f"  {accepted} of {count} reports")
            time.sleep(0.05)

    def memory_kib(self):
        with open(f"/proc/{self.daemon_pid}/status") as status:
            figures = dict(line.split(":", 1) for line in status)
        return {name: int(figures[name].split()[0]) for name in ("VmRSS", "RssAnon")}

    def own_cpu_seconds(self):
        """Of all threads, without the commands that the daemon runs."""
        return sum(int(open(path).read().split()[0])
                   for path in glob.glob(f"/proc/{self.daemon_pid}/task/*/schedstat")) / 1e9

    def close(self):
        if self.daemon and self.daemon.poll() is None:
            os.kill(self.daemon_pid, signal.SIGTERM)
            self.end()
        super().close()


def measure_pieces(bench, size):
    """The medians of all benchmarks with `size` monitored processes, by name."""
    progress(f"one report of {size} processes ...")
    times, seconds = (3, 0.05) if OPTIONS.quick else (9, 0.2)
    shutil.copy(shutil.which("sleep"), bench.path("vos"))
    with running(bench.path("vos"), size - 1):  # and this process, their parent
        out = subprocess.run(
            [BIN + "/report_bench", "--benchmark_format=json", f"--benchmark_min_time={seconds}",
             f"--benchmark_repetitions={times}", "--benchmark_report_aggregates_only=true",
             "--benchmark_enable_random_interleaving=true"]
            + ([] if size == TYPICAL else ["--benchmark_filter=report/"]),
            cwd=bench.folder, stdout=subprocess.PIPE, check=True).stdout
    results = json.loads(out)
    if int(results["context"]["processes"]) != size:
        sys.exit(f"report_bench found {results['context']['processes']} processes, not {size}")
    medians = sorted((run for run in results["benchmarks"] if run["aggregate_name"] == "median"),
                     key=lambda run: run["family_index"])
    return {run["run_name"].removesuffix("/process_time/real_time"):
            {"self": run["cpu_time"], "children": run["children"], "wall": run["real_time"]}
            for run in medians}


def measure_memory(counts):
    """Resident memory of a daemon after so many reports, by count."""
    # The period leaves time for the post: a report that falls due before that is made in vain.
    bench = BenchNode(log="WARN", **{"Monitoring.report_freq": 50, "General.polling_rate_ms": 1})
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
    bench = BenchNode(**{"Monitoring.report_freq": seconds * 1000, "General.polling_rate_ms": 250})
    with contextlib.closing(bench), running(shutil.which("sleep"), extra):
        bench.log_as_installed().serve().start().wait_for_accepted(1)
        progress(f"the daemon's own share of {seconds} s ...")
        time.sleep(seconds / 3)  # from between two reports to between two reports
        end = time.monotonic() + seconds
        before = bench.own_cpu_seconds()
        time.sleep(end - time.monotonic())
        used = bench.own_cpu_seconds() - before
        if bench.accepted() != 2:
            sys.exit(f"{bench.accepted() - 1} reports in the window, not one")
        return 100 * used / seconds


# --- what is told

class Limits:
    def __init__(self):
        self.missed = []

    def check(self, what, value, unit, limit, inclusive=False):
        met = value <= limit if inclusive else value < limit
        sign = "<=" if inclusive else "<"
        print(f"  {what:<64} {value:9.3f} {sign:>2} {f'{limit} {unit}':<8} "
              f"{'ok' if met else 'MISSED'}")
        if not met:
            self.missed.append(what)


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


def main():
    limits = Limits()
    with contextlib.closing(BenchNode().log_as_installed().serve()) as bench:
        by_size = {size: measure_pieces(bench, size) for size in SIZES}
    few, many = (200, 1000) if OPTIONS.quick else (1000, 10000)
    memory = measure_memory((few, many))
    seconds, extra = 10 if OPTIONS.quick else 60, 1000
    share = measure_own_share(seconds, extra)

    typical = by_size[TYPICAL]
    signed = sum(typical["report/" + name]["self"] for name in SIGNED) / 1000
    command = typical["report/tcp_memory"]["children"] / 1000
    print(f"{os.cpu_count()} processors, Linux {os.uname().release}")
    print_collectors(typical)
    print_report(by_size)
    print(f"\nWhole signed report without discovery, {TYPICAL} processes, milliseconds")
    print(f"  self CPU {signed:44.3f}\n  and the TCP memory command's{signed + command:25.3f}")
    print("\nMemory of the daemon, KiB" + "".join(f"{name:>14}" for name in memory[few]))
    for count, figures in memory.items():
        cells = "".join(f"{kib:14}" for kib in figures.values())
        print(f"  after {count:>6} reports      {cells}")
    print(f"\nThe daemon's own CPU, one report in {seconds} s, {extra} more processes running\n"
          f"  {share:.3f} % of a core")

    print("\nLimits")
    limits.check(f"readers / floor, {TYPICAL} processes", ratio_to_floor(typical), "", 3, True)
    limits.check("serialisation, 100 processes",
                 by_size[100]["report/serialisation"]["self"] / 1000, "ms", 1)
    limits.check(f"whole signed report without discovery, CPU, {TYPICAL} processes", signed, "ms",
                 3.5)
    limits.check("VmRSS", max(kib["VmRSS"] for kib in memory.values()) / 1024, "MiB", 14)
    limits.check(f"growth from {few} to {many} reports",
                 memory[many]["VmRSS"] - memory[few]["VmRSS"], "KiB", 256)
    if not OPTIONS.quick:  # which reports six times as often as the limit is meant for
        limits.check("the daemon's own share of a core", share, "%", 0.1, True)
    for what in limits.missed:
        print("missed:", what, file=sys.stderr)
    return 1 if limits.missed else 0


if __name__ == "__main__":
    obstacle = node.isolate()  # starts this script again, in namespaces
    sys.exit(obstacle or main())
