"""What the benchmarks share: the node that is measured, idle processes beside it, limits."""
import argparse
import contextlib
import json
import os
import shutil
import signal
import subprocess
import sys
import time

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def parse_options():
    parser = argparse.ArgumentParser(description=sys.modules["__main__"].__doc__,
                                     formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("builds", nargs="+", metavar="BUILD",
                        help="a build folder, or its bin/; the last one has the benchmarks")
    parser.add_argument("--quick", action="store_true", help="fewer reports, shorter windows")
    parser.add_argument("--markdown", action="store_true", help="ends with the README's table")
    return parser.parse_args()


def programs_of(build):
    folder = os.path.abspath(build)
    return folder if os.path.exists(folder + "/vos_monitor") else folder + "/bin"


OPTIONS = parse_options()
BUILDS = [programs_of(build) for build in OPTIONS.builds]
BIN = os.environ["VOS_BIN"] = BUILDS[-1]
sys.path.insert(0, os.path.join(TOP, "harness"))
import node  # noqa: E402 (reads VOS_BIN)


def progress(text):
    print(text, file=sys.stderr, flush=True)


@contextlib.contextmanager
def crowd(name, count):
    """`count` idle processes of that name, and one more that is the parent of the others."""
    if count == 0:
        yield
        return
    parent = subprocess.Popen([BIN + "/crowd", name, str(count - 1)], stdout=subprocess.PIPE)
    try:
        parent.stdout.readline()
        yield
    finally:
        parent.terminate()
        parent.wait()
        parent.stdout.close()


def run_bench(bench, arguments, size):
    """Runs report_bench under a shell, beside a crowd: `size` monitored processes in all. The
    medians by name."""
    script = """rm -f ready; "$1" vos "$2" >ready & until [ -s ready ]; do sleep 0.05; done
                shift 2; "$@"; code=$?; kill $!; wait $!; exit $code"""
    out = subprocess.run(["/bin/sh", "-c", script, "sh", BIN + "/crowd", str(size - 2),
                          BIN + "/report_bench", "--benchmark_format=json"] + arguments,
                         cwd=bench.folder, stdout=subprocess.PIPE, check=True).stdout
    results = json.loads(out)
    if int(results["context"]["processes"]) != size:
        sys.exit(f"report_bench found {results['context']['processes']} processes, not {size}")
    runs = [run for run in results["benchmarks"] if run.get("aggregate_name", "median") == "median"]
    return {run["run_name"].removesuffix("/process_time/real_time").removesuffix("/iterations:1"):
            dict(run, self=run["cpu_time"], wall=run["real_time"])
            for run in sorted(runs, key=lambda run: run["family_index"])}


def own_cpu_seconds(pid):
    """CPU time of a process, of all threads that it ever had."""
    scheduled_time = 2  # the clock of a process that clock_getcpuclockid() gives
    return time.clock_gettime(~pid << 3 | scheduled_time)


def cpu_seconds(pid):
    """CPU time of a process, of all below it, and of those whose end they have waited for."""
    with open(f"/proc/{pid}/stat") as stat:
        ended = stat.read().rpartition(")")[2].split()[13:15]
    with open(f"/proc/{pid}/task/{pid}/children") as children:
        below = sum(cpu_seconds(child) for child in map(int, children.read().split()))
    return (own_cpu_seconds(pid) + below +
            sum(map(int, ended)) / os.sysconf("SC_CLK_TCK"))


class BenchNode(node.Node):
    """A node with a server that keeps no reports, and a daemon under a shell of its own."""

    def serve(self):
        with open("/opt/key") as key, open("/opt/crt") as certificate:
            self.write("server.pem", key.read() + certificate.read())
        self.server = self.run_in_background("server.log", [
            sys.executable, TOP + "/examples/report_server.py", "--cert", self.path("server.pem"),
            "--client-ca", "/opt/crt", "--secret", node.SECRET,
            "--key-id", self.settings["General.datacenter_id"],
            "--period", str(self.settings["General.hmac_timeout"]),
            "--port-file", self.path("port"), "--print"])
        port = node.until(lambda: self.read("port"), "the server's port").strip()
        self.configure(**{"General.zel_report_url": f"https://127.0.0.1:{port}"})
        return self

    def log_as_installed(self):
        shutil.copy(TOP + "/examples/log4cpp.properties", self.path("log4cpp.properties"))
        return self

    def start(self, beside=0, descriptors=0, command=BIN + "/vos_monitor"):
        """Starts the daemon, or another `command`, among `beside` other monitored processes, of
        which one has so many descriptors."""
        # The shell is the tree that is measured: neither the server nor what else runs here.
        others = f"{BIN}/crowd vos {beside - 1} {descriptors or ''} >ready & " if beside else ""
        until_ready = "until [ -s ready ]; do sleep 0.05; done; " if beside else ""
        self.daemon = self.run_in_background("out", [
            "/bin/sh", "-c", f"{others}{until_ready}{command} & echo $! >daemon.pid; wait $!"])
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

    def close(self):
        if self.daemon and self.daemon.poll() is None:
            os.kill(self.daemon_pid, signal.SIGTERM)
            self.end()
        super().close()


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

    def report(self):
        """Names what was missed; the program's exit status."""
        for what in self.missed:
            print("missed:", what, file=sys.stderr)
        return 1 if self.missed else 0
