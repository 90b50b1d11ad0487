#!/usr/bin/env python3
"""Runs the whole system for a while under faults that come and go, and checks that it bears them.

Supervisor, daemon, HTTPS server and name servers run in namespaces of their own. Each round has
every fault once, in random order; between two faults is a time without any, in which no report may
be lost. Ends with a table; exit status 1 when a check fails.
"""
import argparse
import os
import random
import signal
import struct
import subprocess
import sys
import time

import node as harness
from node import BIN, SANITIZED, TOP, Node, isolate, set_name_servers, until

SKIPPED = 77
PERIODS_MS = (25, 30, 40, 55, 75, 100, 140, 200, 300, 450, 700, 1000)
LONGEST_GAP = 1.2  # seconds between two heartbeats
LONGEST_TURN = 150  # milliseconds of the loop, at 20 ms a write and 50 ms a rename
DISK = struct.Struct("=4q")  # of harness/slow_disk.c
LONGEST_RECOVERY = 15  # seconds until a report gets through after a fault
LONGEST_QUERY = 10  # seconds that a query to a silent name server goes on beside the reports
GROWTH_KIB = 64  # anonymous memory, per 100,000 reports
FEW, FIRST_KIB = 10_000, 512  # in a run of so few the heap still finds its size
MOST_OVERLAPS = 0.05  # of the cycles without a fault: the machine was too slow for the period
LONGEST_RUN = 3  # times the minutes that were asked for
LARGEST_LOG = 512 * 1024


def parse_options():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--minutes", type=float, default=30)
    parser.add_argument("--reports", type=int, help="at least so many are sent, in at most three "
                        "times the time (default: 15,000 from 30 minutes on, otherwise any number)")
    parser.add_argument("--faults", help="only those whose name contains this")
    parser.add_argument("--seed", type=int, default=random.randrange(10**6))
    options = parser.parse_args()
    if options.reports is None:
        options.reports = 15_000 if options.minutes >= 30 else 0
    return options


class Violated(Exception):
    """The system does not run any more, so that there is no point in going on."""


class Tally:
    """What one kind of fault did, over all its injections."""

    def __init__(self):
        self.times = self.due = self.lost = 0
        self.recoveries = []


class Soak:
    NAME, NAME_SERVERS = "zel.dns", ("127.0.0.1", "127.0.0.2")

    def __init__(self, options):
        self.options, self.violations = options, []
        short = options.minutes < 10
        self.fault_seconds, self.clean_seconds = (1.4, 1.2) if short else (3, 4)
        self.clean_cycles = self.clean_lost = self.clean_overlaps = 0
        self.idle_descriptors, self.memory, self.last_zombies = [], [], set()
        self.longest_turns = []
        self.period, self.untroubled, self.patience = 0, 0, 3
        self.tallies, self.started = {}, time.monotonic()
        self.heartbeats = self.supervisor = None

    def violated(self, text):
        self.violations.append(text)
        print("VIOLATED:", text, flush=True)

    # --- the system

    def set_up(self):
        self.node = Node(**{
            "General.polling_rate_ms": 10, "General.zel_http_client_timeout_sec": 1,
            "General.quiet_node": True, "Monitoring.builtin_commands": True,
            "Monitoring.report_freq": 200, "Watchdog.log_config_file": "watchdog.properties"})
        for folder in ("disk", "accepted"):
            os.mkdir(self.node.path(folder))
        self.mount("-t", "tmpfs", "-o", "size=2m", "none", self.node.path("disk"))
        # Started from there, because the hosts file lies beside the program.
        for program in ("vos_monitor", "vos_watchdog"):
            path = self.node.path("disk/" + program)
            open(path, "w").close()
            self.mount("--bind", f"{BIN}/{program}", path)
        self.write_log_settings()
        self.node.write("clock", "\0" * 8)
        self.node.write("slow_disk", "\0" * DISK.size)
        self.node.write("counters", "\0" * soak_server.COUNTERS.size)
        self.name_servers = [name_server.NameServer(own) for own in self.NAME_SERVERS]
        set_name_servers(*self.NAME_SERVERS)
        with open("/opt/key") as key, open("/opt/crt") as certificate:
            self.node.write("server.pem", key.read() + certificate.read())
        self.port = 0
        self.start_server()
        self.node.configure(**{
            "General.zel_report_url": f"https://{self.NAME}:{self.port}",
            "Monitoring.local_json_report_path": self.node.path("disk/report.json")})

    @staticmethod
    def mount(*words):
        subprocess.run(["mount", *words], check=True)

    def write_log_settings(self):
        """The log as installed, on the small disk; and beside it, elsewhere, what is counted."""
        def appender(name, file):
            return (f"log4cpp.appender.{name}=FileAppender\n"
                    f"log4cpp.appender.{name}.fileName={self.node.path(file)}\n"
                    f"log4cpp.appender.{name}.layout=PatternLayout\n"
                    f"log4cpp.appender.{name}.layout.ConversionPattern="
                    "%d{%H:%M:%S,%l} %p %c: %m%n\n")
        counted = "".join(f"log4cpp.category.{category}={level}, journal\n"
                          for category, level in (("VOSMonitor", "DEBUG"), ("HttpClient", "INFO"),
                                                  ("ZELHttpClient", "DEBUG")))
        self.node.write("log4cpp.properties", "log4cpp.rootCategory=INFO, file\n" + counted +
                        appender("file", "disk/log") + appender("journal", "journal"))
        self.node.write("watchdog.properties", "log4cpp.rootCategory=INFO, file\n" +
                        appender("file", "watchdog.log"))

    def start_server(self):
        self.node.write("fault", "ok")
        os.environ["VOS_COUNTERS"] = self.node.path("counters")
        if os.path.exists(self.node.path("port")):
            os.unlink(self.node.path("port"))
        self.node.server = self.node.run_in_background("server.log", [
            sys.executable, TOP + "/harness/soak_server.py", "--cert", self.node.path("server.pem"),
            "--client-ca", "/opt/crt", "--secret", harness.SECRET, "--key-id",
            self.node.settings["General.datacenter_id"], "--period", "60000", "--path", "/report",
            "--port", str(self.port), "--port-file", self.node.path("port"), "--fault",
            self.node.path("fault")])
        self.port = int(until(lambda: self.node.read("port"), "the server's port"))

    def stop_server(self):
        self.node.server.kill()
        self.node.server.wait()

    def start(self):
        # What is freed at the top of the heap goes back at once: what is left is in use.
        environment = {"VOS_CLOCK_OFFSET": self.node.path("clock"),
                       "VOS_SLOW_DISK": self.node.path("slow_disk"),
                       "MALLOC_TRIM_THRESHOLD_": "0", "MALLOC_TOP_PAD_": "0"}
        if not SANITIZED:
            libraries = [self.build(name) for name in ("clock_step", "slow_disk")]
            environment["LD_PRELOAD"] = ":".join(libraries)
        self.supervisor = self.node.run_in_background("out", [
            "env", *(f"{name}={value}" for name, value in environment.items()),
            self.node.path("disk/vos_watchdog")])
        until(lambda: "HTTP request completed" in self.node.read("journal"),
              "a first report\n" + self.node.read("out") + self.node.read("journal"), 30)
        self.pid = watch.ask_status(self.node.folder)["pid"]
        self.journal = watch.Journal(self.node.path("journal"))
        self.heartbeats = watch.Heartbeats(self.node.folder)
        self.heartbeats.start()

    def build(self, name):
        """A library of the harness, to be preloaded; its path."""
        library = self.node.path(name + ".so")
        subprocess.run(["cc", "-O2", "-shared", "-fPIC", "-o", library,
                        f"{TOP}/harness/{name}.c", "-ldl"], check=True)
        return library

    def slow_disk(self, write_ms, rename_ms):
        with open(self.node.path("slow_disk"), "r+b", buffering=0) as file:
            file.write(DISK.pack(os.stat(self.node.path("disk")).st_dev, write_ms * 10**6,
                                 rename_ms * 10**6, 0))

    def longest_turn(self):
        """Milliseconds for which the daemon's loop was held since the disk became slow."""
        with open(self.node.path("slow_disk"), "rb") as file:
            return DISK.unpack(file.read())[-1] / 1e6

    def vosctl(self, verb):
        subprocess.run([BIN + "/vosctl", verb], check=True, stdout=subprocess.DEVNULL,
                       env=dict(os.environ, VOS_IPC_DIR=self.node.folder))

    def set_period(self, milliseconds):
        self.period = milliseconds
        self.node.configure(**{"Monitoring.report_freq": milliseconds})
        os.kill(self.pid, signal.SIGUSR1)

    # --- observation

    def pause(self, seconds):
        """Waits, and looks after the system meanwhile."""
        end = time.monotonic() + seconds
        while True:
            self.journal.read()
            self.check_alive()
            left = end - time.monotonic()
            if left <= 0:
                return
            time.sleep(min(left, 0.02))

    def check_alive(self):
        beats = self.heartbeats
        if beats.failure:
            raise Violated(beats.failure)
        if beats.restarts or beats.pid not in (0, self.pid) or not os.path.exists(
                f"/proc/{self.pid}"):
            raise Violated("the daemon has ended: " + "; ".join(
                self.node.read("watchdog.log").splitlines()[-5:]))
        log = self.node.path("disk/log")
        if os.path.exists(log) and os.path.getsize(log) > LARGEST_LOG:
            os.truncate(log, 0)

    def until_next_sent(self, what):
        """Waits for the end of a successful post; the seconds that took."""
        begin = time.monotonic()
        self.journal.read()
        sent = self.journal.sent
        while self.journal.sent == sent:
            if time.monotonic() > begin + LONGEST_RECOVERY:
                raise Violated(f"no report gets through {LONGEST_RECOVERY} s after: {what}")
            self.pause(0.004)
        return time.monotonic() - begin

    @staticmethod
    def between(before, after):
        return [late - early for early, late in zip(before, after)]

    def clean_time(self, what):
        """A while without faults: from one successful post to another, so that what began in
        between has ended in between."""
        self.pause(0.3)
        self.until_next_sent(what)
        self.until_idle()
        before = self.journal.at_last_sent
        refused = self.node.read("server.log").count("refused")
        idle = []
        end = time.monotonic() + self.clean_seconds
        while time.monotonic() < end:
            self.pause(0.01)  # posts leave short gaps in which nothing is under way
            idle.append(watch.descriptors(self.pid))
        self.until_next_sent(what)
        built, sent, overlapped = self.between(before, self.journal.at_last_sent)
        lost = built - sent - overlapped
        if lost > 0 or self.node.read("server.log").count("refused") > refused:
            self.clean_lost += max(lost, 1)
            self.violated(f"{lost} of {built} reports lost without a fault, after: {what}")
        if not self.adapt_period(overlapped > MOST_OVERLAPS * built):
            self.clean_cycles += built
            self.clean_overlaps += overlapped
        self.check_processes(idle, what)

    def until_idle(self):
        end = time.monotonic() + LONGEST_QUERY
        while self.idle_descriptors and time.monotonic() < end and \
                watch.descriptors(self.pid) > self.idle_descriptors[0][0]:
            self.pause(0.01)

    def adapt_period(self, too_short):
        """Other work on the machine comes and goes. Whether it was made longer."""
        index = PERIODS_MS.index(self.period)
        self.untroubled = 0 if too_short else self.untroubled + 1
        if too_short and index + 1 < len(PERIODS_MS):
            self.set_period(PERIODS_MS[index + 1])
            self.patience *= 2
            return True
        if self.untroubled > self.patience and index > 0:
            self.set_period(PERIODS_MS[index - 1])
            self.untroubled = 0
        return False

    def check_processes(self, idle_descriptors, what):
        self.idle_descriptors.append((min(idle_descriptors), what))
        self.memory.append((self.journal.built, watch.anonymous_kib(self.pid)))
        zombies = watch.zombies(self.pid, self.supervisor.pid)
        if zombies & self.last_zombies:
            self.violated(f"zombies {zombies & self.last_zombies} after: {what}")
        self.last_zombies = zombies

    # --- the run

    def choose_period(self):
        """The shortest with which this machine lets each post end before the next begins."""
        for period in PERIODS_MS:
            self.set_period(period)
            self.pause(0.5)
            before = self.journal.counts()
            self.pause(2)
            if self.between(before, self.journal.counts())[2] == 0:
                return

    def inject(self, name):
        tally = self.tallies.setdefault(name, Tally())
        before, begin = self.journal.at_last_sent, time.monotonic()
        self.heartbeats.during = name
        with FAULTS[name](self):
            self.pause(self.fault_seconds)
        tally.recoveries.append(self.until_next_sent(name))
        built, sent, _ = self.between(before, self.journal.at_last_sent)
        due = max(built, int((time.monotonic() - begin) * 1000 / self.period))
        tally.times += 1
        tally.due += due
        tally.lost += due - sent
        self.clean_time(name)

    def run(self):
        self.choose_period()
        self.clean_time("the start")
        self.started = time.monotonic()
        names = [name for name in FAULTS if (self.options.faults or "") in name and
                 not (SANITIZED and name in ("memory limited", "clock steps", "slow disk"))]
        rounds = 0
        while not self.is_over(rounds):
            rounds += 1
            for name in random.sample(names, len(names)):
                if rounds > 1 and self.is_over(rounds):
                    break
                self.inject(name)
            self.tell_progress(rounds)
            if rounds == 1:  # every fault's memory is there now
                self.warm = len(self.memory)

    def is_over(self, rounds):
        minutes = (time.monotonic() - self.started) / 60
        enough = self.journal.sent >= self.options.reports
        return rounds and (minutes >= self.options.minutes and
                           (enough or minutes >= LONGEST_RUN * self.options.minutes))

    def tell_progress(self, rounds):
        print(f"{(time.monotonic() - self.started) / 60:5.1f} min  round {rounds}  "
              f"{self.journal.built} built  {self.journal.sent} sent  period {self.period} ms  "
              f"RssAnon {self.memory[-1][1]} KiB  longest gap {self.heartbeats.longest_seen:.2f} s",
              flush=True)

    # --- the end

    def judge(self):
        """Checks of the run as a whole: (what, figure, limit, good)."""
        accepted, impossible = self.counters()
        warm = self.memory[getattr(self, "warm", 1) - 1:]
        reports = warm[-1][0] - warm[0][0]
        third = max(1, len(warm) // 3)
        growth = min(kib for _, kib in warm[-third:]) - min(kib for _, kib in warm[:third])
        growth_limit = GROWTH_KIB * max(1, reports / 100_000) if reports > FEW else FIRST_KIB
        held = sorted({count for count, _ in self.idle_descriptors})
        yield "reports sent", self.journal.sent, f">= {self.options.reports}", \
            self.journal.sent >= self.options.reports
        yield "accepted by the server and not told so", accepted - self.journal.sent, "", True
        yield "lost without a fault", self.clean_lost, "0", self.clean_lost == 0
        yield "cycles without a fault", self.clean_cycles, "> 0", self.clean_cycles > 0
        yield "of these, still busy with the one before", self.clean_overlaps, \
            f"<= {MOST_OVERLAPS:.0%}", self.clean_overlaps <= MOST_OVERLAPS * self.clean_cycles
        yield "documents with an impossible figure", impossible, "0", impossible == 0
        yield "longest time between heartbeats, s", round(self.heartbeats.longest_seen, 3), \
            self.heartbeats.longest_during, True
        yield "while processors were to be had", round(self.heartbeats.longest, 3), \
            f"<= {LONGEST_GAP}", self.heartbeats.longest <= LONGEST_GAP or SANITIZED
        if self.longest_turns:
            turn = max(self.longest_turns)
            yield "longest turn of the loop on a slow disk, ms", round(turn), \
                f"0 < and <= {LONGEST_TURN}", 0 < turn <= LONGEST_TURN
        yield f"growth of RssAnon in {reports} reports, KiB", growth, f"< {growth_limit:.0f}", \
            growth < growth_limit or SANITIZED
        yield "descriptors when idle", held, "one figure", len(held) == 1
        yield "restarts", self.heartbeats.restarts, "0", self.heartbeats.restarts == 0

    def counters(self):
        with open(self.node.path("counters"), "rb") as file:
            return soak_server.COUNTERS.unpack(file.read())

    def stop(self):
        """The end that an operator would bring about, with its checks."""
        self.heartbeats.close()
        self.supervisor.send_signal(signal.SIGTERM)
        status = self.supervisor.wait(15)
        if status != 0:
            self.violated(f"the supervisor ended with {status}")
        if os.path.exists(f"/proc/{self.pid}"):
            self.violated("the daemon outlives its supervisor")
        stray = [name for name in os.listdir(self.node.path("disk")) if name.endswith(".tmp")]
        if stray:
            self.violated(f"stray files: {stray}")

    def print_table(self):
        print(f"\n{'fault':34} {'times':>5} {'due':>8} {'lost':>6} {'recovery, ms: mean':>19} "
              f"{'longest':>8}")
        for name, tally in self.tallies.items():
            milliseconds = [1000 * seconds for seconds in tally.recoveries] or [0]
            print(f"{name:34} {tally.times:5} {tally.due:8} {tally.lost:6} "
                  f"{sum(milliseconds) / len(milliseconds):19.0f} {max(milliseconds):8.0f}")
        print()

    def finish(self):
        minutes = (time.monotonic() - self.started) / 60
        self.print_table()
        if len(self.memory) > 1:
            for what, figure, limit, good in self.judge():
                print(f"{what:48} {figure!s:>12}  {limit:28} {'ok' if good else 'VIOLATED'}")
                if not good:
                    self.violations.append(what)
        print(f"\n{minutes:.1f} minutes, a report every {self.period} ms, seed "
              f"{self.options.seed}: " + ("FAILED" if self.violations else "passed"), flush=True)

    def close(self):
        if self.heartbeats:
            self.heartbeats.ended = True
        if self.supervisor and self.supervisor.poll() is None:
            self.supervisor.kill()
            self.supervisor.wait()
        if self.violations:
            print("log's end:\n" + "\n".join((self.node.read("watchdog.log") + self.node.read(
                "disk/log")).splitlines()[-40:]) + self.node.read("counters.wrong")[:3000])
        subprocess.run(["umount", "-R", "-l", self.node.path("disk")], check=False)
        self.node.close()


def interrupt(*_):
    raise KeyboardInterrupt


def main():
    options = parse_options()
    random.seed(options.seed)
    for number in (signal.SIGINT, signal.SIGTERM):  # also in the background of a shell
        signal.signal(number, interrupt)
    soak = Soak(options)
    try:
        soak.set_up()
        soak.start()
        try:
            soak.run()
            soak.stop()
        except Violated as failure:
            soak.violated(str(failure))
        except KeyboardInterrupt:
            print("\ninterrupted; the figures so far", flush=True)
            soak.violations.append("interrupted")
        soak.finish()
    finally:
        soak.close()
    sys.exit(1 if soak.violations else 0)


if __name__ == "__main__":
    obstacle = isolate()
    if obstacle:
        print("skipped:", obstacle)
        sys.exit(SKIPPED)
    import name_server
    import soak_server
    import watch
    from faults import FAULTS
    main()
