"""What becomes of a daemon in which calls fail, in each phase of its life."""
import dataclasses
import os
import signal
import time
from failing import ERRORS
from tortured_daemon import UNKNOWN_MESSAGE, Fault, Load, TorturedDaemon, Violation, name_of

LONGEST_LIFE = 40  # faults; then the daemon has to end, and all that it destroys be whole
LATE = "some time later"
PHASES = ("start", "cycle", "message", "reload", "stop")
ALLOCATIONS = ("malloc", "calloc", "realloc", "aligned_alloc", "posix_memalign")
# Libraries that use the result of an allocation unchecked, or abort, and why that can not be
# helped from outside. A crash counts as theirs when theirs was the allocation that failed.
UNCHECKED = {"libconfig++.so": "never checks what it allocates",
             "libcrypto.so": "takes a context that it could not make apart through null pointers",
             "libcurl.so": "frees a TLS session twice that it could not keep"}


@dataclasses.dataclass
class Finding:
    """What came of a fault; `wrong` is what must not have."""
    fault: Fault
    outcome: str
    wrong: str = None
    stacks: tuple = ()
    log: str = ""  # its end


class LateEnd(Exception):
    """The daemon has ended before the fault that was to come; the status."""


class Worker(TorturedDaemon):
    """One node, for one fault after the other."""

    # ---- a daemon's life

    def has_lived(self, fault):
        """Whether this daemon has to end before that fault."""
        began = self.life[0].phase if self.life else None
        return self.is_alive() and (len(self.life) >= LONGEST_LIFE or self.node.link is None or
                                    "start" in (began, fault.phase) or fault.phase == "stop")

    def end_life(self):
        """Has the daemon end. When it fails to, what each fault of its life alone does: findings."""
        if not self.is_alive():
            return []
        life = list(self.life)
        wrong = self.end()
        if wrong is None:
            return []
        if len(life) == 1:
            return [self.finding(life[0], "bad end", wrong)]
        found = []
        for fault in life:
            if self.attempt(fault).outcome == "survived" and (again := self.end()):
                found.append(self.finding(fault, "bad end", again))
            self.kill()
        return found or [self.finding(life[-1], "bad end", f"{wrong}, after {len(life)} faults")]

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
        deadline = time.monotonic() + 40 * node.settings["Monitoring.report_freq"] / 1000
        load = Load(node)
        self.wait_for_reports(8)
        if time.monotonic() > deadline:
            raise Violation("too slow")
        self.usual_load = load.rates()
        node.read_maps()
        # Descriptors of a transfer under way do not count.
        self.held = min(node.descriptors() for _ in range(100) if time.sleep(0.004) is None)
        node.record()
        self.wait_for_reports(6)
        seen["cycle"] = {key: max(1, round(n / 6)) for key, n in node.recorded().items()}
        for phase, ask in (("message", lambda: node.send(UNKNOWN_MESSAGE)),
                           ("reload", lambda: node.signal(signal.SIGUSR1)),
                           ("stop", lambda: node.signal(signal.SIGTERM))):
            node.record()
            ask()
            self.wait_for_reports(2)
            seen[phase] = {k: n for k, n in node.recorded().items() if k not in seen["cycle"]}
        return seen

    # ---- one fault; the exit status, or None

    def not_met(self, status):
        if status is not None:
            raise LateEnd(status)
        return "not met"

    def start(self, fault):
        self.node.control.stop_at = 1
        self.node.arm(fault)
        self.allocated, self.life, self.beats = None, [], self.node.beats
        self.node.start_daemon()
        status = self.wait(lambda: self.node.control.in_loop, "the loop")
        if not self.node.fired():
            return self.not_met(status)
        return status if status is not None else self.check_health(fault)

    def cycle(self, fault):
        self.bring_up()
        self.node.arm(fault)
        wanted = self.node.accepted() + 3
        status = self.wait(lambda: self.node.fired() or self.node.accepted() >= wanted, "the call")
        if not self.node.fired():
            return self.not_met(status)
        return status if status is not None else self.check_health(fault)

    def asked(self, fault, ask, mend=lambda: None):
        """Has it fail while the daemon does what it is asked to."""
        self.bring_up()
        self.node.arm(fault)
        ask()
        wanted = self.node.accepted() + 2
        deadline = time.monotonic() + 1
        status = self.wait(lambda: self.node.fired() or self.node.accepted() >= wanted or
                           time.monotonic() > deadline, "the call")
        if not self.node.fired():
            return self.not_met(status)
        mend()
        return self.check_health(fault)

    def message(self, fault):
        return self.asked(fault, lambda: self.node.send(UNKNOWN_MESSAGE))

    def reload(self, fault):
        def again():  # what one reload lost the next brings back
            if not fault.then and not fault.learns:
                self.node.control.state = 0
            self.node.signal(signal.SIGUSR1)
        return self.asked(fault, lambda: self.node.signal(signal.SIGUSR1), again)

    def stop(self, fault):
        self.bring_up()
        self.node.arm(fault)
        self.node.signal(signal.SIGTERM)
        if self.wait(lambda: self.lost_signal(fault), "the end") is None:
            self.node.signal(signal.SIGTERM)  # the supervisor would kill it after a while
        status = self.wait(lambda: False, "the end")
        return status if self.node.fired() else self.not_met(status or None)

    def lost_signal(self, fault):
        """Libevent does not look whether its handler could write the byte that tells of a signal."""
        return (self.node.fired() and self.node.call_names()[fault.call] == "write" and
                [os.path.basename(file).split("-")[0] for file, _ in self.node.stack()[:2]] ==
                ["libevent_core", "libc.so.6"])

    def run(self, fault):
        """Findings. Where a report takes longer than the period none gets through, so a wait in
        vain counts once more time did not help."""
        found = self.end_life() if self.has_lived(fault) else []
        result = self.attempt(fault)
        if result.outcome.startswith(LATE):
            found.append(result)
            result = self.attempt(fault)
        if result.outcome == "failed":
            period_ms = self.node.settings["Monitoring.report_freq"]
            self.node.configure(**{"Monitoring.report_freq": 10 * period_ms})
            result = self.attempt(fault)
            found += self.end_life()
            self.node.configure(**{"Monitoring.report_freq": period_ms})
        return found + [result]

    def attempt(self, fault):
        try:
            status = getattr(self, fault.phase)(fault)
        except Violation as violation:
            self.kill()
            return self.finding(fault, "failed", str(violation))
        except LateEnd as end:
            status, faults = end.args[0], self.life or [fault]
            return self.finding(faults[-1], f"{LATE} {name_of(status)}", None if status in (1, 2)
                                else f"ended with {name_of(status)} after {len(faults)} faults")
        if status is None:
            self.life.append(fault)
            return self.finding(fault, "survived")
        if status == "not met":
            return self.finding(fault, status)
        if status == 0 and fault.phase != "stop":
            return self.finding(fault, "exit 0", "ended with status 0")
        if status in (0, 1, 2):
            return self.finding(fault, f"exit {status}")
        owner, name = self.unchecked_owner(fault), name_of(status)
        return self.finding(fault, f"{name} ({owner})" if owner else name,
                            None if owner else "crashed: " + name)

    def finding(self, fault, outcome, wrong=None):
        node = self.node
        stacks = tuple(node.stack(which) for which in range(2 if fault.then else 1))
        return Finding(fault, outcome, wrong, stacks,
                       "\n".join(node.read("log").splitlines()[-4:]) if wrong else "")

    def unchecked_owner(self, fault):
        for which, one in enumerate((fault, fault.then)):
            if one and self.node.call_names()[one.call] in ALLOCATIONS:
                files = [os.path.basename(file) for file, _ in self.node.stack(which)[:3]]
                owner = next((o for o in UNCHECKED for f in files if f.startswith(o)), None)
                if owner:
                    return owner
        return None


def faults_of(seen, names, phases, every=False, burst=1):
    """Each place with every error that fits, at its first and last visit, or at `every` one."""
    faults = []
    for phase in phases:
        for (call, place), visits in seen[phase].items():
            skips = range(visits) if every else sorted({0, visits - 1})
            faults += [Fault(phase, call, place, skip, error, burst) for skip in skips
                       for error in ERRORS[names[call]].split()]
    return faults
