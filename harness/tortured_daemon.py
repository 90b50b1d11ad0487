"""A daemon that calls fail for, and what it must be able to do after each of them."""
import contextlib
import dataclasses
import json
import signal
import time
from failing import TorturedNode

PATIENCE = 30  # seconds; commands that hang may cost the daemon five each
MOST_KEPT = 4096  # bytes that all faults of a daemon's life may leave: counts of log records
UNKNOWN_MESSAGE = 3
ANSWERS = {"a control message": "unsupported message type: 3",
           "SIGUSR1": "Handling reconfigure event"}
NO_LINK = "init_ipc: IPC socket initialization failed."
HEARTBEAT_SOCKET = "vos_monitor.sock"


@dataclasses.dataclass(frozen=True)
class Fault:
    phase: str
    call: int
    place: int
    skip: int
    error: str
    burst: int = 1
    then: "Fault" = None  # what fails next
    learns: bool = False  # records what follows it


class Violation(Exception):
    pass


class Load:
    """What the daemon does in a while: turns of its loop, seconds on a processor."""

    def __init__(self, node):
        self.node = node
        self.clock = ~node.daemon.pid << 3 | 2  # CLOCK_PROCESS_CPUTIME_ID of another process
        self.began = self.now()

    def now(self):
        cpu = 0
        with contextlib.suppress(OSError):  # it may be gone
            cpu = time.clock_gettime(self.clock)
        return time.monotonic(), self.node.control.turns, cpu

    def rates(self):
        """A second: (turns, seconds on a processor)."""
        wall, turns, cpu = (now - then for now, then in zip(self.now(), self.began))
        return turns / wall, cpu / wall


def name_of(status):
    return signal.Signals(-status).name if status < 0 else f"exit {status}"


class TorturedDaemon:
    """One daemon after the other, on one node."""

    def __init__(self, period_ms):
        self.node = TorturedNode(**{"Monitoring.report_freq": period_ms})
        self.held = 0
        self.usual_load = (0, 0)
        self.allocated = None  # bytes, before the first fault of this daemon's life
        self.life = []  # what this daemon has survived
        self.beats = 0  # of heart, when the last fault was over
        self.followers = {}  # calls after the last fault that learns

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

    def check_health(self, fault):
        """After a fault that the daemon has survived; its exit status, if it ends after all."""
        status = self.let_it_follow(fault)
        self.node.control.state = 0
        self.node.listen()
        if fault.phase != "start":  # whose faults are over before the first heartbeat
            self.beats = self.node.beats
        load = Load(self.node) if status is None else None
        has_link = status is None and self.ask_by_message(fault)
        # The signal comes last: a reload mends much.
        for step in (lambda: self.wait_for_reports(2),  # the first may have been under way
                     lambda: self.refuse_spinning(load),
                     lambda: self.wait_for_answer("a control message") if has_link else None,
                     lambda: self.node.signal(signal.SIGUSR1),
                     lambda: self.wait_for_answer("SIGUSR1")):
            status = step() if status is None else status
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

    def let_it_follow(self, fault):
        """Until the second fault has come, or what follows the first is known; at most a report."""
        control, wanted = self.node.control, self.node.accepted() + 1
        if not fault.then and not fault.learns:
            return None
        status = self.wait(lambda: fault.then and control.fired > 1 or
                           self.node.accepted() >= wanted, "an accepted report")
        if fault.learns:
            self.followers = self.node.recorded()
        return status

    def ask_by_message(self, fault):
        """False when there is no link any more, as is right after a fault of the link's own."""
        node = self.node
        deadline = time.monotonic() + 1
        while node.daemon.poll() is None and not node.send(UNKNOWN_MESSAGE):
            if self.was_link_s(fault):
                return False
            if time.monotonic() > deadline:
                raise Violation("the control link is lost")
            time.sleep(0.004)
        return True

    def was_link_s(self, fault):
        names = self.node.call_names()
        if fault.phase == "start":  # the second of a pair may have cost the record
            return fault.then or NO_LINK in self.node.read("log") + self.node.read("out")
        return any(f and names[f.call] == "recv" and f.error == "ECONNRESET"
                   for f in (fault, fault.then))

    def wait_for_answer(self, question):
        return self.wait(lambda: self.node.said(ANSWERS[question]), "the answer to " + question)

    def refuse_spinning(self, load):
        if self.node.daemon.poll() is not None:
            return self.node.daemon.returncode
        (turns, cpu), (usual_turns, usual_cpu) = load.rates(), self.usual_load
        if turns > 4 * usual_turns + 1000 or cpu > 4 * usual_cpu + 0.2:
            raise Violation(f"the loop spins: {turns:.0f} turns a second, {cpu:.0%} of a processor; "
                            f"usual are {usual_turns:.0f}, {usual_cpu:.0%}")
        return None

    def least_allocated(self):
        """While nothing is under way; over some cycles."""
        deadline = time.monotonic() + 3 * self.node.settings["Monitoring.report_freq"] / 1000
        least = self.node.control.allocated
        while time.monotonic() < deadline:
            time.sleep(0.004)
            least = min(least, self.node.control.allocated)
        return least

    # ---- a daemon's life

    def is_alive(self):
        return self.node.daemon is not None and self.node.daemon.poll() is None

    def bring_up(self):
        if not self.is_alive():
            self.node.control.state = 0
            self.node.start_daemon()
            self.node.control.stop_at = 0
            if self.wait_for_reports(2) is not None:
                raise AssertionError("the daemon does not start")
            self.allocated = None
            self.life = []
        if self.allocated is None:
            self.allocated = self.least_allocated()

    def kill(self):
        if self.is_alive():
            self.node.daemon.kill()
            self.node.daemon.wait()
        self.life = []

    def has_heartbeat_socket(self):
        with open("/proc/net/unix") as table:
            return self.node.path(HEARTBEAT_SOCKET) + "\n" in table.read()

    def end(self):
        """A heartbeat, and the end that the supervisor asks for; what is wrong with them."""
        node = self.node
        has_none = self.life and self.life[0].phase == "start" and not self.has_heartbeat_socket()
        try:
            status = self.wait(lambda: has_none or node.beats > self.beats, "a heartbeat")
            if status is None:
                node.signal(signal.SIGTERM)
                status = self.wait(lambda: False, "the end after SIGTERM")
        except Violation as violation:
            self.kill()
            return str(violation)
        return None if status == 0 else f"SIGTERM ended it with {name_of(status)}"
