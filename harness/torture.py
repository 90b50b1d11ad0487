"""Has every memory allocation and system call of the daemon fail in turn: at start, in a report
cycle, at a control message, in a reload and at its end; and some of them two in a row.

A first run records which calls each phase makes, and where. Then each place is failed with every
error that fits the call, at its first and at its last visit (--every: at all of them). Allowed is
that the daemon goes on as before - its next report is accepted, it answers a control message and
SIGUSR1, its loop rests, it keeps its descriptors and, when it has survived enough, ends by SIGTERM
with status 0 - or that it ends with a documented status. Anything else is a violation, printed
with the stack of the call.
"""
import argparse
import collections
import dataclasses
import os
import queue
import random
import sys
import threading
import time
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from failing import ERRORS, LIBRARY, NameServer, readable  # noqa: E402
from kills import kill_writers  # noqa: E402
from node import SANITIZED, isolate  # noqa: E402
from tortured_life import PHASES, Fault, Violation, Worker, faults_of  # noqa: E402

PERIODS_MS = (300, 1000, 4000)


class Torture:
    def __init__(self, options):
        self.options = options
        self.table = collections.defaultdict(collections.Counter)
        self.violations = collections.Counter()
        self.lock = threading.Lock()
        self.chooser = random.Random(options.seed)
        self.planned = self.done = 0

    def record(self):
        """What record() of a worker gives, with the first period that this machine keeps up with:
        where a report takes longer than that, none is ever sent."""
        for self.period_ms in PERIODS_MS:
            worker = Worker(self.period_ms)
            try:
                seen = worker.record()
                self.names, self.maps = worker.node.call_names(), worker.node.maps
                self.held, self.usual_load = worker.held, worker.usual_load
                return seen
            except Violation as violation:
                print(f"at a period of {self.period_ms} ms: {violation}", flush=True)
            finally:
                worker.close()
        raise SystemExit("this machine is too slow")

    def work(self, faults):
        worker = Worker(self.period_ms)
        worker.node.maps, worker.held = self.maps, self.held
        worker.usual_load = self.usual_load
        try:
            while (fault := self.next(faults)) is not None:
                found = worker.run(fault)
                if fault.learns and found[-1].outcome == "survived" and worker.followers:
                    found += worker.run(self.pair(fault, worker.followers))
                self.note(found)
            self.note(worker.end_life())
        finally:
            worker.close()

    def next(self, faults):
        try:
            return faults.get_nowait()
        except queue.Empty:
            return None

    def pair(self, first, followers):
        """The fault, and one that follows: rather where only one goes whose call has failed."""
        chooser = random.Random(f"{self.options.seed} {first}")
        known = self.seen[first.phase].keys() | self.seen["cycle"].keys()
        call, place = chooser.choice([key for key in followers if key not in known] or
                                     list(followers))
        error = chooser.choice(ERRORS[self.names[call]].split())
        return dataclasses.replace(first, learns=False,
                                   then=Fault(first.phase, call, place, 0, error))

    def name(self, fault):
        text = f"{self.names[fault.call]} {fault.error}"
        return f"{text}, then {self.name(fault.then)}" if fault.then else text

    def note(self, found):
        with self.lock:
            for finding in found:
                self.note_one(finding)

    def note_one(self, finding):
        fault, wrong = finding.fault, finding.wrong
        self.done += 1
        if self.done % 500 == 0:
            print(f"{self.done} of {self.planned} faults ...", file=sys.stderr, flush=True)
        phase = "pairs" if fault.then else fault.phase
        self.table[phase, self.names[fault.call], fault.error][finding.outcome] += 1
        if self.options.show and self.options.show in finding.outcome:
            wrong = wrong or finding.outcome
        if not wrong:
            return
        what = f"{fault.phase}: {self.name(fault)}: {wrong}"
        key = what, *(tuple(stack[:5]) for stack in finding.stacks)
        self.violations[key] += 1
        if self.violations[key] == 1:
            print("VIOLATION", what, *map(readable, finding.stacks), finding.log, sep="\n",
                  flush=True)

    def choose(self):
        """The faults, in order of their phases; a sample of them, and first ones of pairs."""
        options = self.options
        faults = faults_of(self.seen, self.names, options.phases, options.every, options.burst)
        if options.calls:
            faults = [f for f in faults if self.names[f.call] in options.calls]
        firsts = collections.defaultdict(list)  # nine in ten calls are allocations
        for fault in faults:
            if fault.phase != "stop":
                firsts[self.names[fault.call]].append(fault)
        pairs = [self.chooser.choice(firsts[self.chooser.choice(sorted(firsts))])
                 for _ in range(options.pairs if firsts else 0)]
        if options.sample is not None:
            faults = self.chooser.sample(faults, min(options.sample, len(faults)))
        faults += [dataclasses.replace(fault, learns=True) for fault in pairs]
        return sorted(faults, key=lambda f: PHASES.index(f.phase))

    def run(self):
        started = time.monotonic()
        self.seen = self.record()
        print("phase     calls  places")
        for phase in PHASES:
            print(f"{phase:8} {sum(self.seen[phase].values()):6} {len(self.seen[phase]):7}",
                  flush=True)
        waiting = queue.Queue()
        for fault in self.choose():
            waiting.put(fault)
        self.planned = waiting.qsize()
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
        for phase in (*PHASES, "pairs"):
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
    parser.add_argument("--pairs", type=int, default=200, help="so many faults, chosen at random, "
                        "are followed by a second one")
    parser.add_argument("--show", help="treat this outcome, too, as a violation")
    parser.add_argument("--burst", type=int, default=1, help="so many calls of the kind in a row")
    parser.add_argument("--jobs", type=int, default=3 * os.cpu_count(), help="nodes at once; they "
                        "wait most of the time")
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
