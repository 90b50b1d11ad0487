#!/usr/bin/env python3
"""The management server of a soak: examples/report_server.py, but it keeps no reports. It checks
each document as it comes, counts in a file mapped by VOS_COUNTERS, and knows three faults more:

  endless | garbage | dribble
"""
import json
import mmap
import os
import struct
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../examples"))
import report_server  # noqa: E402

COUNTERS = struct.Struct("=QQ")  # accepted reports, documents with an impossible figure
LINE_RATE = 1_250_000_000  # bytes a second of the fastest interface here, 10 Gbit/s
LONGEST = 30  # seconds that a misbehaving answer goes on


def impossible_figures(value, path=""):
    """What is wrong with a document, or nothing."""
    if isinstance(value, dict):
        # What is left for the other processes is a difference, and may be below
        # zero: pages that monitored processes share are counted for each of them.
        rest = value.get("process_name") in ("other", "idle")
        for key, member in value.items():
            if not (rest and key in ("ram", "fd")):
                yield from impossible_figures(member, f"{path}/{key}")
    elif isinstance(value, list):
        for index, member in enumerate(value):
            yield from impossible_figures(member, f"{path}/{index}")
    elif value is None or isinstance(value, (int, float)) and value < 0:
        yield f"{path} is {value}"
    elif path.endswith("_bps") and value > LINE_RATE or path.endswith("cpu/total") and value > 100:
        yield f"{path} is {value}"


class SoakServer(report_server.ReportServer):
    def __init__(self, options):
        super().__init__(options)
        self.RequestHandlerClass = SoakHandler
        self.counters_path = os.environ["VOS_COUNTERS"]
        with open(self.counters_path, "r+b") as file:
            self.counters = mmap.mmap(file.fileno(), COUNTERS.size)

    def server_bind(self):  # under each of the node's addresses: name servers give several
        self.server_address = ("", self.options.port)
        super().server_bind()

    def keep(self, body, meta):
        wrong = "; ".join(impossible_figures(json.loads(body)))
        with self.lock:
            accepted, impossible = COUNTERS.unpack(self.counters[:])
            self.counters[:] = COUNTERS.pack(accepted + 1, impossible + bool(wrong))
            if wrong:
                with open(self.counters_path + ".wrong", "a") as out:
                    out.write(f"{wrong}\n{body.decode()}\n")


class SoakHandler(report_server.Handler):
    def do_POST(self):
        answers = {"endless": (b"HTTP/1.1 200 OK\r\n\r\n", b"x" * 16384, 0.01),
                   "dribble": (b"HTTP/1.1 200 OK\r\nX-Slow: ", b"x", 0.05),
                   "garbage": (os.urandom(200), b"", 0)}
        kind = self.server.fault()[0]
        if kind not in answers:
            super().do_POST()
            return
        self.read_body()
        self.close_connection = True
        begin, more, pause = answers[kind]
        self.wfile.write(begin)
        end = time.monotonic() + LONGEST
        while more and time.monotonic() < end:
            self.wfile.write(more)
            time.sleep(pause)


if __name__ == "__main__":
    report_server.ReportServer = SoakServer
    report_server.main()
