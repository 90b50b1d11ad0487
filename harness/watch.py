"""What a soak observes of a running daemon, all of it from outside."""
import json
import os
import re
import socket
import struct
import threading
import time

STATUS, ANSWER_HEADER = 110, 56


def ask_status(folder):
    """The supervisor's answer, as `vosctl status --json` shows it."""
    with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as link:
        link.settimeout(10)
        link.connect(os.path.join(folder, "vos.sock"))
        link.send(struct.pack("=H16s38s", STATUS, b"soak", b"watchdog"))
        return json.loads(link.recv(4096)[ANSWER_HEADER:].rstrip(b"\0"))


class Heartbeats(threading.Thread):
    """Asks the supervisor ten times a second how old the last heartbeat is, and so knows when
    each came. A gap during which the supervisor itself was stopped says nothing and is left out;
    `longest` also leaves out those in which processors were short for more than half the time, by
    other work on the machine. `longest_seen` has them. `longest` is less `allowance`, the seconds
    for which one call of the daemon may just hold it up."""

    def __init__(self, folder):
        super().__init__(daemon=True)
        self.folder, self.last, self.ended = folder, None, False
        self.longest = self.longest_seen = self.shortage = self.allowance = 0
        self.blind, self.restarts, self.pid = False, 0, 0
        self.failure, self.during, self.longest_during = None, "", ""

    def run(self):
        while not self.ended:
            try:
                before = time.monotonic()
                status = ask_status(self.folder)
                self.note(status, (before + time.monotonic()) / 2)
            except (OSError, ValueError) as error:
                self.failure = f"the supervisor does not answer: {error}"
                return
            time.sleep(0.1)

    def note(self, status, now):
        self.restarts, self.pid = status["restarts"], status["pid"]
        age = status["heartbeat_age_ms"]
        if age is None:
            return
        beat = now - age / 1000
        if self.blind or self.last is None:
            self.last, self.shortage = None if self.blind else beat, processors_short()
            return
        same = beat - self.last < 0.05
        gap = (now if same else beat) - self.last
        if gap > self.longest_seen:
            self.longest_seen, self.longest_during = gap, self.during
        if processors_short() - self.shortage < gap / 2:
            self.longest = max(self.longest, gap - self.allowance)
        if not same:
            self.last, self.shortage = beat, processors_short()

    def close(self):
        self.ended = True
        self.join()


class Journal:
    """Counts in the daemon's own log, as it grows: cycles that began, posts that the daemon
    calls successful, cycles that came while the one before was still under way."""

    WHAT = (("built", b"Starting to collect health reports"),
            ("sent", b"HTTP request completed successfully."),
            ("overlapped", b"Request ignored since previous HTTP request"),
            ("overlapped", b"Canceling previous request"))

    def __init__(self, path):
        self.file = open(path, "rb")
        self.built = self.sent = self.overlapped = 0
        self.rest = b""
        self.at_last_sent = (0, 0, 0)

    def read(self):
        *lines, self.rest = (self.rest + self.file.read()).split(b"\n")
        for line in lines:
            for name, text in self.WHAT:
                if text in line:
                    setattr(self, name, getattr(self, name) + 1)
                    if name == "sent":
                        self.at_last_sent = self.counts()

    def counts(self):
        """Built, sent and overlapped by now; `at_last_sent` is the same at a moment when nothing
        was under way."""
        return self.built, self.sent, self.overlapped


def processors_short():
    """Seconds since the machine's start in which something was ready to run but did not."""
    try:
        with open("/proc/pressure/cpu") as pressure:
            return int(re.search(r"some .*total=(\d+)", pressure.read())[1]) / 1e6
    except OSError:
        return 0


def anonymous_kib(pid):
    with open(f"/proc/{pid}/status") as status:
        return int(re.search(r"RssAnon:\s+(\d+)", status.read())[1])


def address_space(pid):
    with open(f"/proc/{pid}/status") as status:
        return int(re.search(r"VmSize:\s+(\d+)", status.read())[1]) * 1024


def descriptors(pid):
    return len(os.listdir(f"/proc/{pid}/fd"))


def zombies(*parents):
    """Ended children that nobody has waited for."""
    found = set()
    for pid in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{pid}/stat") as stat:
                state, parent = stat.read().rpartition(") ")[2].split()[:2]
        except OSError:
            continue
        if state == "Z" and int(parent) in parents:
            found.add(int(pid))
    return found
