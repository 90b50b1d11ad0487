"""The driver's side of failing_calls.c: its page, the errors that fit each call, and a daemon
that runs under it."""
import contextlib
import ctypes
import errno
import mmap
import os
import re
import socket
import struct
import subprocess
import threading
from node import BIN, Node, Peer, set_name_servers, until

LIBRARY = os.path.join(BIN, "../lib/failing_calls.so")
DEPTH, MOST_RECORDS, MOST_FAULTS = 10, 1 << 18, 2
OFF, RECORDING, ARMED = range(3)
SHORT = 10000  # no errno value: half of the bytes are transferred
SHORT_NAME = "half"

ERRORS = {
    "malloc": "ENOMEM", "calloc": "ENOMEM", "realloc": "ENOMEM", "aligned_alloc": "ENOMEM",
    "posix_memalign": "ENOMEM", "mmap": "ENOMEM", "open": "EMFILE EIO", "fopen": "EMFILE EIO",
    "opendir": "EMFILE", "read": "EIO EINTR half", "write": "ENOSPC EIO EINTR half",
    "writev": "EAGAIN EIO", "close": "EIO EINTR", "rename": "ENOSPC EIO", "unlink": "EIO",
    "stat": "EIO", "fstat": "EIO", "lstat": "EIO", "access": "EIO", "fchmod": "EIO",
    "fchown": "EPERM", "fsync": "EIO", "socket": "EMFILE ENOBUFS", "bind": "EADDRINUSE",
    "connect": "ECONNREFUSED EINTR EAGAIN", "send": "EAGAIN EPIPE ECONNRESET EINTR",
    "sendto": "EAGAIN ENOBUFS EINTR", "sendmsg": "EAGAIN ENOBUFS", "recv": "EAGAIN EINTR ECONNRESET",
    "recvfrom": "EAGAIN EINTR", "getsockopt": "ENOBUFS", "setsockopt": "ENOBUFS",
    "fcntl": "EINVAL", "pipe2": "EMFILE", "poll": "EINTR ENOMEM", "epoll_create1": "EMFILE",
    "epoll_ctl": "ENOMEM ENOSPC", "epoll_wait": "EINTR", "eventfd": "EMFILE",
    "socketpair": "EMFILE", "posix_spawn": "EAGAIN ENOMEM", "waitpid": "EINTR ECHILD",
    "pthread_create": "EAGAIN", "getrandom": "EINTR EIO"}


def error_number(name):
    return SHORT if name == SHORT_NAME else getattr(errno, name)


class Record(ctypes.Structure):
    _fields_ = [("call", ctypes.c_uint32), ("place", ctypes.c_uint32)]


class ArmedFault(ctypes.Structure):
    """As struct fault in failing_calls.c."""
    _fields_ = [(name, ctypes.c_uint32) for name in (
        "call", "place", "skip", "error", "burst", "failed", "depth", "unused")] + [
        ("stack", ctypes.c_uint64 * DEPTH)]


class Control(ctypes.Structure):
    """As struct control in failing_calls.c."""
    _fields_ = [(name, ctypes.c_uint32) for name in (
        "state", "stop_at", "in_loop", "faults", "fired", "learn")] + [
        ("fault", ArmedFault * MOST_FAULTS)] + [(name, ctypes.c_uint32) for name in (
            "turns", "records_made", "kill_step", "kill_fraction", "write_steps", "allocated")] + [
        ("kill_file", ctypes.c_char * 64), ("names", ctypes.c_char * 1024),
        ("records", Record * MOST_RECORDS)]


class NameServer(threading.Thread):
    """Answers every query with 127.0.0.1, not to be cached: each report asks again."""

    def __init__(self):
        super().__init__(daemon=True)
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("127.0.0.1", 53))
        set_name_servers("127.0.0.1")
        self.start()

    def run(self):
        while True:
            query, peer = self.socket.recvfrom(512)
            self.socket.sendto(query[:2] + b"\x81\x80\0\1\0\1\0\0\0\0" + query[12:] +
                               b"\xc0\x0c\0\1\0\1\0\0\0\0\0\4\x7f\0\0\1", peer)


class TorturedNode(Node):
    """A node whose daemon runs under failing_calls.c, with a supervisor that listens."""

    def __init__(self, **settings):
        # At the level DEBUG, its default, the log leaves no repeated record out.
        super().__init__(**{"Monitoring.report_freq": 150, "General.polling_rate_ms": 10,
                            "General.message_check_timeout_ms": 100, **settings})
        self.serve("zel.torture")
        with open(self.path("page"), "wb") as page:
            page.truncate(ctypes.sizeof(Control))
        with open(self.path("page"), "r+b") as page:
            self.control = Control.from_buffer(mmap.mmap(page.fileno(), 0))
        self.peer = Peer(self)
        self.seen = self.beats = 0
        self.link = None  # while there is one
        self.told = {}
        for body in (self.take_links, self.take_beats):
            threading.Thread(target=body, daemon=True).start()

    def take_links(self):
        self.peer.listener.settimeout(None)
        while True:
            self.link = self.peer.listener.accept()[0]
            with contextlib.suppress(ConnectionError), self.link:
                while self.link.recv(4096):
                    pass
            self.link = None

    def take_beats(self):
        while True:
            self.peer.beats.recv(4096)
            self.beats += 1

    def start_daemon(self):
        """Starts the daemon with the page as it is, and new logs. Addresses are the same in every
        run."""
        for name in ("log", "out"):
            with contextlib.suppress(FileNotFoundError):
                os.unlink(self.path(name))
        self.control.in_loop = self.control.records_made = 0
        # What the C library keeps at hand for the next allocation would count as allocated.
        environment = dict(os.environ, VOS_IPC_DIR=self.folder, VOS_TORTURE_PAGE=self.path("page"),
                           GLIBC_TUNABLES="glibc.malloc.tcache_count=0")
        with open(self.path("out"), "a") as out:
            self.daemon = subprocess.Popen(
                ["setarch", "-R", "env", "LD_PRELOAD=" + LIBRARY, self.path("vos_monitor")],
                cwd=self.folder, stdout=out, stderr=out, env=environment)

    def listen(self):
        """Forgets what the daemon has said until now."""
        self.told = {name: os.stat(self.path(name)).st_size for name in ("log", "out")
                     if os.path.exists(self.path(name))}

    def said(self, text):
        """Whether it has said this since, in its log or, where that can not be written, beside."""
        for name in ("log", "out"):
            with contextlib.suppress(FileNotFoundError), open(self.path(name), "rb") as file:
                file.seek(self.told.get(name, 0))
                if text.encode() in file.read():
                    return True
        return False

    def send(self, kind):
        """A control message; False without a link."""
        try:
            self.link.send(struct.pack("=H16s38s", kind, b"torture", b"node-7"))
            return True
        except (AttributeError, OSError):
            return False

    def accepted(self):
        """How many reports the server has accepted."""
        while os.path.exists(self.path(f"accepted/{self.seen + 1:04}.json")):
            self.seen += 1
        return self.seen

    def descriptors(self):
        try:
            return len(os.listdir(f"/proc/{self.daemon.pid}/fd"))
        except FileNotFoundError:
            return 0

    def record(self):
        self.control.records_made = self.control.faults = 0
        self.control.state = RECORDING

    def recorded(self):
        """{(call, place): number of visits}, in the order of the first ones."""
        self.control.state = OFF
        if self.control.records_made > MOST_RECORDS:
            raise AssertionError("more calls than the page holds")
        visits = {}
        for i in range(self.control.records_made):
            record = self.control.records[i]
            key = record.call, record.place
            visits[key] = visits.get(key, 0) + 1
        return visits

    def arm(self, fault):
        """Has the fault's call fail, and after it the one of `fault.then`."""
        c, chain = self.control, [fault] + ([fault.then] if fault.then else [])
        c.state, c.fired, c.faults, c.learn = OFF, 0, len(chain), fault.learns
        for armed, one in zip(c.fault, chain):
            armed.call, armed.place, armed.skip = one.call, one.place, one.skip
            armed.error, armed.burst, armed.failed = error_number(one.error), one.burst, 0
            armed.depth = 0
        c.records_made = 0
        c.state = ARMED

    def fired(self):
        """Whether the armed call has failed."""
        return self.control.fault[0].failed > 0

    def call_names(self):
        return self.control.names.decode().split()

    def read_maps(self):
        """Where the program and its libraries lie; the same in each run."""
        with open(f"/proc/{self.daemon.pid}/maps") as maps:
            found = [re.match(r"(\w+)-(\w+) \S+ (\w+) \S+ \S+ +(/.*)", line) for line in maps]
        self.maps = [(*(int(m[i], 16) for i in (1, 2, 3)), m[4]) for m in found if m]

    def stack(self, which=0):
        """The stack of the call that failed: [(file, address within)]."""
        frames, armed = [], self.control.fault[which]
        for address in armed.stack[:armed.depth]:
            for start, end, offset, file in self.maps:
                if start <= address < end:
                    frames.append((os.path.realpath(file), address - start + offset))
        return frames


def readable(frames):
    lines = []
    for file, address in frames:
        text = subprocess.run(["addr2line", "-Cfpse", file, hex(address - 1)], capture_output=True,
                              text=True).stdout.strip()
        lines.append(f"    {os.path.basename(file)}+{address:#x} {text}"[:150])
    return "\n".join(lines)


__all__ = ["BIN", "ERRORS", "LIBRARY", "NameServer", "TorturedNode", "readable", "until"]
