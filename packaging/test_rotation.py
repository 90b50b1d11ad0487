#!/usr/bin/env python3
"""Rotates the log of an installed node ROUNDS times under load, by the rule as it is installed,
and counts: a second file that nobody rotates has the same lines. Prints what it has verified.

usage: test_rotation.py FOLDER-OF-PACKAGES [ROUNDS]
"""
import collections
import re
import sys
import threading
import time

sys.dont_write_bytecode = True
from test_install import CONF, clean_system, expect, install  # noqa: E402

ROUNDS = int(sys.argv[2]) if len(sys.argv) > 2 else 100
BOTH = """log4cpp.rootCategory=DEBUG, file, all
log4cpp.appender.all=FileAppender
log4cpp.appender.all.fileName=all.log
log4cpp.appender.all.layout=PatternLayout
log4cpp.appender.all.layout.ConversionPattern=%d{%Y-%m-%d %H:%M:%S,%l} %-6p %c: %m%n
"""
RULE = "/etc/logrotate.d/vos-monitor"


class Requests(threading.Thread):
    """Reload requests, one after the other; each leaves its line in the log."""

    def __init__(self, root):
        super().__init__()
        self.root, self.sent, self.ended = root, 0, threading.Event()

    def run(self):
        while not self.ended.wait(0.1):
            self.sent += self.root.status("cd /opt/vos && vosctl reload") == 0


def main():
    with clean_system() as (start, server):
        root = start("rotation")
        install(root, server)
        settings = root.read("/opt/vos/log4cpp.properties")
        root.run("systemctl stop vos-monitor.service; rm /opt/vos/vos_monitor.log")
        root.write("/opt/vos/log4cpp.properties",
                   BOTH + re.sub(r"log4cpp\.rootCategory=.*", "", settings))
        root.run(f"sed -i 's/report_freq = .*;/report_freq = 50;/' {CONF};"
                 f"sed -i 's/rotate 8/rotate {ROUNDS + 10}/' {RULE};"
                 "systemctl start vos-monitor.service")
        requests = Requests(root)
        requests.start()
        began = time.monotonic()
        for _ in range(ROUNDS):
            root.run(f"logrotate --force {RULE}")
        took = time.monotonic() - began
        requests.ended.set()
        requests.join()
        root.run("systemctl stop vos-monitor.service")
        rotated = root.run("cd /opt/vos && zcat -f vos_monitor.log*").splitlines()
        lines = root.read("/opt/vos/all.log").splitlines()
        count = int(root.run("ls /opt/vos/vos_monitor.log.* | wc -l"))
        expect(count == ROUNDS, f"{count} rotations in {took:.0f} s")
        lost = collections.Counter(lines) - collections.Counter(rotated)
        more = collections.Counter(rotated) - collections.Counter(lines)
        expect(not lost and not more, f"{len(lines)} lines, {len(lines) / took:.0f} a second: none "
               "is lost", "\n".join([*lost, "-- and not in the other file:", *more][:50]))
        seen = sum("reconf requested by: [ vosctl ]" in line for line in rotated)
        expect(seen == requests.sent, f"{seen} of {requests.sent} requests are in the log")


main()
