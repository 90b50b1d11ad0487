"""Kills the writer of a file at random moments while it writes, and looks at what is left.

The moments are those at which the file system changes: before and after each system call of the
writing, and after any part of a write. Each time the file must be the old one or the new one, as
a whole, and when its writer has started once more nothing may lie beside it.
"""
import json
import os
import random
import re
import subprocess
import time
from failing import BIN, LIBRARY, TorturedNode, until

HOSTS = "vos_monitor_ZELHttpClient_persistent_hosts.txt"


class Killed:
    """What all three files have in common."""

    def __init__(self, chooser):
        self.chooser = chooser
        # A period that lets the first report be the only one.
        self.node = TorturedNode(**{"Monitoring.report_freq": 60000, "log": "ERROR"})
        self.steps = 0

    def choose_moment(self):
        control = self.node.control
        control.kill_file = b"." + self.file.encode() + b"."
        control.kill_step = self.chooser.randint(1, self.steps) if self.steps else 0
        control.kill_fraction = self.chooser.randint(0, 65536)
        control.write_steps = 0

    def spare(self):
        self.node.control.kill_step = 0

    def learn_steps(self):
        """How many moments one writing has."""
        self.choose_moment()
        self.prepare(0)
        self.start()
        until(lambda: self.node.control.write_steps, "the writing of " + self.file)
        self.stop()
        self.steps = self.node.control.write_steps

    def stop(self):
        self.node.daemon.kill()
        self.node.daemon.wait()

    def kill_once(self, number):
        """What is wrong with the file afterwards, or None."""
        self.prepare(number)
        old = self.node.read(self.file)
        self.choose_moment()
        self.start()
        self.node.daemon.wait(20)
        left = self.node.read(self.file)
        if left != old and not self.is_new(left, number):
            return f"{self.file} is neither the old one nor a new one: {left[:80]!r}"
        self.spare()
        self.start()
        self.wait_until_started()
        beside = [name for name in os.listdir(self.node.folder)
                  if name.startswith("." + self.file)]
        self.stop()
        return f"left beside {self.file}: {beside}" if beside else None

    def start(self):
        self.node.start_daemon()

    def prepare(self, number):
        """Makes the old file."""

    def wait_until_started(self):
        until(lambda: self.node.control.in_loop, "the loop")


class LocalReport(Killed):
    file = "report.json"

    def is_new(self, text, _number):
        return "machine-info" in json.loads(text)


class HostsFile(Killed):
    file = HOSTS

    def prepare(self, number):
        self.node.write(self.file, f"zel.torture 192.0.2.{number % 250 + 1}\n")

    def is_new(self, text, _number):
        return text == "zel.torture 127.0.0.1\n"


class Configuration(Killed):
    """Saved by a program that does nothing else. The daemon starts on what is left of it, and
    removes nothing: it does not write this file. "vosctl set" does."""
    file = "vos.conf"

    def __init__(self, chooser):
        super().__init__(chooser)
        self.node.configure(**{"General.generation": 0})

    def start(self):
        self.node.control.in_loop = 0
        if self.node.control.kill_step == 0 and self.steps:
            return self.node.start_daemon()
        environment = dict(os.environ, LD_PRELOAD=LIBRARY, VOS_TORTURE_PAGE=self.node.path("page"))
        self.node.daemon = subprocess.Popen([BIN + "/save_configuration"], cwd=self.node.folder,
                                            env=environment)

    def wait_until_started(self):
        super().wait_until_started()
        subprocess.check_call([BIN + "/vosctl", "--config", self.node.path(self.file), "set",
                               "General.datacenter_id", "dc-1"])

    def is_new(self, text, _number):
        return re.search(r"generation = \d+;", text) and text.rstrip().endswith("};")


def kill_writers(count, seed):
    """Prints a table; the number of kills that went wrong."""
    wrong = 0
    print("file                kills  moments  wrong  seconds")
    for kind in (LocalReport, HostsFile, Configuration):
        started, faults = time.monotonic(), 0
        writer = kind(random.Random(seed))
        try:
            writer.learn_steps()
            for number in range(count):
                fault = writer.kill_once(number)
                if fault:
                    faults += 1
                    print("VIOLATION", fault, flush=True)
        finally:
            writer.node.close()
        print(f"{kind.__name__:18} {count:6} {writer.steps:8} {faults:6} "
              f"{time.monotonic() - started:8.0f}", flush=True)
        wrong += faults
    return wrong
