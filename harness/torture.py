"""Has every memory allocation and system call of the daemon fail in turn: at start, in a report
cycle, in a reload and at its end.

A first run records which calls each phase makes, and where. Then each place is failed with every
error that fits the call, at its first and at its last visit (--every: at all of them). Allowed is
that the daemon goes on, keeps its descriptors and has its next report accepted, or that it ends
with a documented status. Anything else is a violation, printed with the stack of the call.
"""
import argparse
import collections
import dataclasses
import json
import os
import queue
import random
import signal
import sys
import threading
import time
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from failing import ERRORS, LIBRARY, NameServer, TorturedNode, readable  # noqa: E402
from kills import kill_writers  # noqa: E402
from node import SANITIZED, isolate  # noqa: E402

PATIENCE = 30  # seconds; commands that hang may cost the daemon five each
PERIODS_MS = (300, 1000, 4000)
MOST_KEPT = 4096  # bytes that all faults of a daemon's life may leave: counts of log records
PHASES = ("start", "cycle", "reload", "stop")
ALLOCATIONS = ("malloc", "calloc", "realloc", "aligned_alloc", "posix_memalign")
# Libraries that use the result of an allocation unchecked, or abort, and why that can not be
# helped from outside. A crash counts as theirs when theirs was the allocation that failed.
UNCHECKED = {"libconfig++.so": "never checks what it allocates",
             "libcrypto.so": "takes a context that it could not make apart through null pointers",
             "libcurl.so": "frees a TLS session twice that it could not keep"}


@dataclasses.dataclass
class Fault:
    phase: str
    call: int
    place: int
    skip: int
    error: str
    burst: int = 1


class Violation(Exception):
    pass


class Worker:
    """One node, for one fault after the other."""

    def __init__(self, period_ms):
        self.node = TorturedNode(**{"Monitoring.report_freq": period_ms})
        self.held = 0
        self.allocated = None  # bytes, before the first fault of this daemon's life

    def close(self):
        self.node.close()

    # ---- what the daemon must be able to do

    def wait(self, condition, what):
        """Until the condition holds; the exit status, if the daemon ends before."""
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            if condition():
                return None
            if self.node.daemon.poll() is not None:
                return self.node.daemon.returncode
            time.sleep(0.004)
        raise Violation("waited in vain for " + what)

    def wait_for_reports(self, count):
        wanted = self.node.accepted() + count
        return self.wait(lambda: self.node.accepted() >= wanted, "an accepted report")

    def is_right(self):
        """Whether the last report is a whole one."""
        with open(self.node.path(f"accepted/{self.node.seen:04}.json")) as file:
            report = json.load(file)
        return (report["processes_stats"] and report["interfaces"] and
                report["machine-info"]["ram"]["total"] > 0 and report["datacenter_id"] == "dc-1")

    def check_health(self):
        """After a fault that the daemon has survived."""
        self.node.control.state = 0
        status = self.wait_for_reports(2)  # the first may have been under way
        if status is not None:
            return status
        if not self.is_right():
            raise Violation("the next report is incomplete")
        self.wait(lambda: self.node.descriptors() <= self.held,
                  f"descriptors to be given back: {self.node.descriptors()}, were {self.held}")
        if self.allocated is not None:
            self.wait(lambda: self.node.control.allocated <= self.allocated + MOST_KEPT, "memory to "
                      f"be given back: {self.node.control.allocated} bytes, were {self.allocated}")
        return None

    def least_allocated(self):
        """While nothing is under way; over some cycles."""
        deadline = time.monotonic() + 3 * self.node.settings["Monitoring.report_freq"] / 1000
        least = self.node.control.allocated
        while time.monotonic() < deadline:
            time.sleep(0.004)
            least = min(least, self.node.control.allocated)
        return least

    def bring_up(self):
        if self.node.daemon is None or self.node.daemon.poll() is not None:
            self.node.control.state = 0
            self.node.start_daemon()
            self.node.control.stop_at = 0
            if self.wait_for_reports(2) is not None:
                raise AssertionError("the daemon does not start")
            self.allocated = None
        if self.allocated is None:
            self.allocated = self.least_allocated()

    def kill(self):
        if self.node.daemon and self.node.daemon.poll() is None:
            self.node.daemon.kill()
            self.node.daemon.wait()

    # ---- the first run

    def record(self):
        """{phase: {(call, place): visits}}"""
        node, seen = self.node, {}
        node.control.stop_at = 1
        node.control.state = 1
        node.start_daemon()
        self.wait(lambda: node.control.in_loop, "the loop")
        seen["start"] = node.recorded()
        node.control.stop_at = 0
        deadline = time.monotonic() + 40 * self.node.settings["Monitoring.report_freq"] / 1000
        self.wait_for_reports(8)
        if time.monotonic() > deadline:
            raise Violation("too slow")
        node.read_maps()
        # Descriptors of a transfer under way do not count.
        self.held = min(node.descriptors() for _ in range(100) if time.sleep(0.004) is None)
        node.record()
        self.wait_for_reports(6)
        seen["cycle"] = {key: max(1, round(n / 6)) for key, n in node.recorded().items()}
        node.record()
        node.signal(signal.SIGUSR1)
        self.wait_for_reports(2)
        seen["reload"] = {k: n for k, n in node.recorded().items() if k not in seen["cycle"]}
        node.record()
        node.signal(signal.SIGTERM)
        self.wait(lambda: False, "the end")
        seen["stop"] = {k: n for k, n in node.recorded().items() if k not in seen["cycle"]}
        return seen

    # ---- one fault; the exit status, or None

    def start(self, fault):
        self.kill()
        self.node.control.stop_at = 1
        self.node.arm(fault)
        self.node.start_daemon()
        self.allocated = None
        status = self.wait(lambda: self.node.control.in_loop, "the loop")
        if self.node.control.fired == 0:
            return "not met"
        if status is None:
            status = self.check_health()
        if status == 0:
            raise Violation("a start that failed ended with status 0")
        return status

    def cycle(self, fault):
        self.bring_up()
        self.node.arm(fault)
        wanted = self.node.accepted() + 3
        status = self.wait(lambda: self.node.control.fired or self.node.accepted() >= wanted,
                           "the call")
        if self.node.control.fired == 0:
            return "not met"
        return status if status is not None else self.check_health()

    def reload(self, fault):
        self.bring_up()
        self.node.arm(fault)
        self.node.signal(signal.SIGUSR1)
        wanted = self.node.accepted() + 2
        deadline = time.monotonic() + 1
        self.wait(lambda: self.node.control.fired or self.node.accepted() >= wanted or
                  time.monotonic() > deadline, "the call")
        if self.node.control.fired == 0:
            return "not met"
        self.node.control.state = 0
        if self.node.daemon.poll() is None:
            self.node.signal(signal.SIGUSR1)  # what one reload lost the next brings back
        return self.check_health()

    def stop(self, fault):
        self.bring_up()
        self.node.arm(fault)
        self.node.signal(signal.SIGTERM)
        if self.wait(lambda: self.lost_signal(fault), "the end") is None:
            self.node.signal(signal.SIGTERM)  # the supervisor would kill it after a while
        status = self.wait(lambda: False, "the end")
        return status if self.node.control.fired else "not met"

    def lost_signal(self, fault):
        """Libevent does not look whether its handler could write the byte that tells of a signal."""
        control = self.node.control
        return (control.fired and self.node.call_names()[fault.call] == "write" and
                [os.path.basename(file).split("-")[0] for file, _ in self.node.stack()[:2]] ==
                ["libevent_core", "libc.so.6"])

    def run(self, fault):
        """(outcome, None) or (outcome, what is wrong with it). Where a report takes longer than
        the period none gets through, so a wait in vain counts once more time did not help."""
        result = self.attempt(fault)
        if result[0] == "failed":
            period_ms = self.node.settings["Monitoring.report_freq"]
            self.node.configure(**{"Monitoring.report_freq": 10 * period_ms})
            result = self.attempt(fault)
            self.kill()
            self.node.configure(**{"Monitoring.report_freq": period_ms})
        return result

    def attempt(self, fault):
        try:
            status = getattr(self, fault.phase)(fault)
        except Violation as violation:
            self.kill()
            return "failed", str(violation)
        if status is None:
            return "survived", None
        if status == "not met":
            return status, None
        if status in (0, 1, 2):
            return f"exit {status}", None
        name = signal.Signals(-status).name if status < 0 else f"exit {status}"
        owner = self.unchecked_owner(fault)
        return f"{name} ({owner})" if owner else name, None if owner else "crashed: " + name

    def unchecked_owner(self, fault):
        names = self.node.call_names()
        if names[fault.call] not in ALLOCATIONS:
            return None
        files = [os.path.basename(file) for file, _ in self.node.stack()[:3]]
        return next((o for o in UNCHECKED for f in files if f.startswith(o)), None)


def faults_of(seen, names, phases, every, burst):
    faults = []
    for phase in phases:
        for (call, place), visits in seen[phase].items():
            skips = range(visits) if every else sorted({0, visits - 1})
            faults += [Fault(phase, call, place, skip, error, burst) for skip in skips
                       for error in ERRORS[names[call]].split()]
    return faults


class Torture:
    def __init__(self, options):
        self.options = options
        self.table = collections.defaultdict(collections.Counter)
        self.violations = collections.Counter()
        self.lock = threading.Lock()
        self.planned = self.done = 0

    def record(self):
        """What record() of a worker gives, with the first period that this machine keeps up with:
        where a report takes longer than that, none is ever sent."""
        for self.period_ms in PERIODS_MS:
            worker = Worker(self.period_ms)
            try:
                seen = worker.record()
                self.names = worker.node.call_names()
                self.maps, self.held = worker.node.maps, worker.held
                return seen
            except Violation as violation:
                print(f"at a period of {self.period_ms} ms: {violation}", flush=True)
            finally:
                worker.close()
        raise SystemExit("this machine is too slow")

    def work(self, faults):
        worker = Worker(self.period_ms)
        worker.node.maps, worker.held = self.maps, self.held
        try:
            while True:
                try:
                    fault = faults.get_nowait()
                except queue.Empty:
                    return
                outcome, wrong = worker.run(fault)
                self.note(worker, fault, outcome, wrong)
        finally:
            worker.close()

    def note(self, worker, fault, outcome, wrong):
        with self.lock:
            self.done += 1
            if self.done % 500 == 0:
                print(f"{self.done} of {self.planned} faults ...", file=sys.stderr, flush=True)
            self.table[fault.phase, self.names[fault.call], fault.error][outcome] += 1
            if self.options.show and self.options.show in outcome:
                wrong = wrong or outcome
            if not wrong:
                return
            what = f"{fault.phase}: {self.names[fault.call]} {fault.error}: {wrong}"
            key = what, tuple(worker.node.stack()[:5])
            self.violations[key] += 1
            if self.violations[key] == 1:
                print("VIOLATION", what, readable(worker.node.stack()),
                      *worker.node.read("log").splitlines()[-4:], sep="\n", flush=True)

    def run(self):
        started = time.monotonic()
        seen = self.record()
        print("phase     calls  places")
        for phase in PHASES:
            print(f"{phase:8} {sum(seen[phase].values()):6} {len(seen[phase]):7}", flush=True)
        faults = faults_of(seen, self.names, self.options.phases, self.options.every,
                           self.options.burst)
        if self.options.calls:
            faults = [f for f in faults if self.names[f.call] in self.options.calls]
        if self.options.sample:
            chooser = random.Random(self.options.seed)
            faults = chooser.sample(faults, min(self.options.sample, len(faults)))
        order = sorted(faults, key=lambda f: PHASES.index(f.phase))
        waiting = queue.Queue()
        for fault in order:
            waiting.put(fault)
        self.planned = len(faults)
        workers = [threading.Thread(target=self.work, args=(waiting,))
                   for _ in range(self.options.jobs)]
        for worker in workers:
            worker.start()
        for worker in workers:
            worker.join()
        self.print_table()
        print(f"{self.done} faults in {time.monotonic() - started:.0f} s, "
              f"{self.violations.total()} violations; seed {self.options.seed}", flush=True)
        return 1 if self.violations or self.done < self.planned else 0

    def print_table(self):
        print(f"{'phase':8} {'call':15} {'error':12} {'failed':>6}  outcomes")
        for phase in PHASES:
            for (row_phase, call, error), outcomes in sorted(self.table.items()):
                if row_phase == phase:
                    text = ", ".join(f"{outcome} {n}" for outcome, n in outcomes.most_common())
                    print(f"{phase:8} {call:15} {error:12} {sum(outcomes.values()):6}  {text}")


def reap_until(work):
    """Takes the place of init: commands of daemons that were killed end here. The status of
    the process `work`."""
    while True:
        pid, status = os.wait()
        if pid == work:
            return os.waitstatus_to_exitcode(status)


def parse_options():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--sample", type=int, help="so many faults, chosen at random")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--phases", nargs="*", choices=PHASES, default=PHASES)
    parser.add_argument("--kills", type=int, default=0, help="also kill the writer of each file "
                        "so many times")
    parser.add_argument("--calls", nargs="+", choices=ERRORS, help="only these")
    parser.add_argument("--every", action="store_true", help="fail every visit of a place")
    parser.add_argument("--show", help="treat this outcome, too, as a violation")
    parser.add_argument("--burst", type=int, default=1, help="so many calls of the kind in a row")
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    return parser.parse_args()


def main():
    options = parse_options()
    if not os.path.exists(LIBRARY) or SANITIZED:
        print("skipped: the sanitizers have an allocator of their own")
        return 77
    obstacle = isolate()
    if obstacle:
        print("skipped:", obstacle)
        return 77
    work = os.fork()
    if work == 0:
        NameServer()
        violated = kill_writers(options.kills, options.seed) if options.kills else 0
        if options.phases:
            violated += Torture(options).run()
        os._exit(1 if violated else 0)
    return reap_until(work)


if __name__ == "__main__":
    sys.exit(main())
