"""Supervisor, control messages and heartbeat: the real programs, and a peer that is not ours."""
import concurrent.futures
import contextlib
import itertools
import os
import random
import re
import shutil
import signal
import socket
import struct
import subprocess
import sys
import time
from nodetest import BIN, PRESET, SANITIZED, TOP, NodeTest, run, until
from watch import anonymous_kib, descriptors

FLOOD = 100000


def record(kind, sender=b"supervisor", destination=b"node-7"):
    return struct.pack("=H16s38s", kind, sender, destination)


def held(pid):
    """Descriptors, and anonymous memory; sanitizers keep what was freed, so there 0."""
    return descriptors(pid), 0 if SANITIZED else anonymous_kib(pid)


def linked(pid):
    """Whether the daemon holds its end of a control link, the only connected one of its kind."""
    with open(f"/proc/{pid}/net/unix") as table:
        rows = [line.split() for line in table.readlines()[1:]]
    return any(row[4] == "0005" and row[5] == "03" for row in rows)


def state(pid):
    """Its letter in /proc, that of a zombie when there is none."""
    try:
        with open(f"/proc/{pid}/stat") as stat:
            return stat.read().split(") ")[1][0]
    except FileNotFoundError:
        return "Z"


class Control(NodeTest):
    def quiet_node(self, **settings):
        node = self.node(**{"Monitoring.report_freq": 0, **settings})
        return node, self.linked(node, "" if "log" in settings else "calculate_processes_performance")

    def test_hello_heartbeat_and_messages(self):
        node, peer = self.quiet_node()
        self.assertEqual(peer.hello, record(100, b"vos_monitor", b"node-7"))
        self.assertEqual(peer.heartbeat(), record(1, b"vos_monitor", b"watchdog"))
        for message in (b"", b"x", record(3), record(65535) + b"x" * 4040, record(2) + b"x" * 5000):
            peer.link.send(message)
        for said in ("WARN VOSMonitor: handle_ipc_msg: incoming message size (1) is too small.",
                     "unsupported message type: 65535", "invalid termination message size: 4096",
                     "Handling reconfigure event"):
            node.wait_for_log(said)
        peer.link.send(record(11))
        self.assertEqual(node.end(), 0)
        self.assertIn("handle_stop_msg: stop requested by: [ supervisor ].", node.read("log"))

    def test_link_that_is_lost_and_heartbeats_nobody_takes(self):
        node, peer = self.quiet_node(**{"General.message_check_timeout_ms": 50})
        self.assertTrue(linked(node.daemon.pid))
        peer.link.close()
        until(lambda: not linked(node.daemon.pid), "the link to be closed")
        peer.beats.close()
        os.unlink(node.path("watchdog.sock"))
        node.signal(signal.SIGUSR1)
        node.wait_for_log("Handling reconfigure event")
        node.signal(signal.SIGTERM)
        self.assertEqual(node.end(), 0)

    def test_flood_of_messages(self):
        node, peer = self.quiet_node(log="FATAL")
        peer.heartbeat()
        node.wait_for_quiet()
        before = held(node.daemon.pid)
        peer.beats.setblocking(False)
        beats, end = [time.monotonic()], time.monotonic() + 5
        for sent in itertools.takewhile(lambda n: n < FLOOD or time.monotonic() < end, itertools.count()):
            peer.link.send(record(2 + sent % 2))
            with contextlib.suppress(BlockingIOError):
                peer.beats.recv(4096)
                beats.append(time.monotonic())
        self.assertLess(max(late - early for early, late in itertools.pairwise(beats)), 1.1)
        node.wait_for_quiet()
        after = held(node.daemon.pid)
        self.assertTrue(after[0] == before[0] and after[1] <= before[1] + 128, (before, after))
        peer.link.send(record(5))
        self.assertEqual(node.end(), 0)

    def test_heartbeat_while_a_hundred_processes_are_measured(self):
        node = self.node(log="INFO", **{"Monitoring.report_freq": 2000}).serve()
        shutil.copy("/bin/sleep", node.path("vos"))
        children = [subprocess.Popen([node.path("vos"), "600"]) for _ in range(100)]
        self.addCleanup(lambda: [(child.kill(), child.wait()) for child in children])
        peer = self.linked(node, "Collecting VOS health report took")
        end = time.monotonic() + 30
        gaps = peer.heartbeat_gaps(lambda: time.monotonic() < end)
        took = [int(ms) for ms in re.findall(r"report took (\d+)ms", node.read("log"))]
        self.assertGreater(len([ms for ms in took if ms > 200]), 5, took)
        self.assertTrue(26 <= len(gaps) <= 32 and max(gaps) < 1.1, gaps)


class Supervised(NodeTest):
    def supervised(self, **settings):
        return self.supervise(self.node(**{"Monitoring.report_freq": 0, **settings}))

    def until_healthy(self, node, other_than=0):
        def healthy():
            status = self.status(node)
            return status.get("healthy") and status["control_link"] and status["pid"] != other_than \
                and status
        return until(healthy, "a healthy daemon; log: " + node.read("log")[-2000:])

    def test_operator_s_requests(self):
        node = self.supervised()
        pid = self.until_healthy(node)["pid"]
        self.assertIn("running", self.vosctl(node, "status"))
        self.vosctl(node, "reload")
        node.wait_for_log("reconf requested by: [ vosctl ].")
        self.refuses_to_reload_what_is_broken(node)
        self.vosctl(node, "stop")
        second = self.until_healthy(node, pid)
        self.assertEqual(second["restarts"], 1)
        self.vosctl(node, "terminate")
        self.assertEqual(node.end(), 30)
        self.assertEqual(state(second["pid"]), "Z")
        for verb in ("reload", "stop", "terminate", "status"):
            self.assertIn("no supervisor", self.vosctl(node, verb, status=3))
        for words in ((), ("nonsense",), ("stop", "now"), ("--nonsense", "stop"), ("--config",)):
            self.vosctl(node, *words, status=2)
        for words in (("--help",), ("status", "--help"), ("--version",)):
            self.vosctl(node, *words)

    def refuses_to_reload_what_is_broken(self, node):
        """The daemon's own file is the one that counts, wherever vosctl is called."""
        node.write("vos.conf", "General = {")
        self.assertIn(":1: syntax error", self.vosctl(node, "reload", status=1, cwd="/"))
        self.assertEqual(node.read("log").count("requested by"), 1)
        node.write_conf()
        self.vosctl(node, "set", "General.zel_report_url", "https://192.0.2.1:443")
        self.vosctl(node, "check")
        os.rename("/opt/vos/client.pem", "/opt/vos/away")
        self.addCleanup(os.rename, "/opt/vos/away", "/opt/vos/client.pem")
        self.assertIn("client certificate /opt/vos/client.pem: No such file",
                      self.vosctl(node, "check", status=1))
        self.assertEqual(self.vosctl(node, "get", "General.polling_rate_ms"), "20\n")
        self.assertIn("General.zel_report_url=https://192.0.2.1:443\n", self.vosctl(node, "list"))
        self.vosctl(node, "set", "General.zel_http_client_timeout_sec", "0", status=1)
        self.vosctl(node, "check", os.path.join(TOP, "examples/vos.conf"))

    def test_daemon_that_ends_by_itself_is_started_again(self):
        node = self.supervised(**{"General.vos_id": None, "Watchdog.restart_delay_ms": 50,
                                  "Watchdog.longest_restart_delay_ms": 100})
        node.wait_for_log("starting vos_monitor again in 100 ms", 2)
        self.assertIn("ended after", node.read("log"))
        self.assertIn("not running", self.vosctl(node, "status", status=1))
        self.assertIn("General.vos_id: missing", self.vosctl(node, "reload", status=1))
        self.assertIn("not running", self.vosctl(node, "reload", "--force", status=1))
        node.configure(**{"General.vos_id": "node-7"})
        pid = self.until_healthy(node)["pid"]
        os.kill(pid, signal.SIGHUP)  # ends with status 0, but nobody asked
        self.until_healthy(node, pid)

    def test_daemon_that_hangs_is_killed(self):
        node = self.supervised(**{"Watchdog.heartbeat_timeout_ms": 1500,
                                  "Watchdog.kill_delay_ms": 300, "Watchdog.restart_delay_ms": 50})
        pid = self.until_healthy(node)["pid"]
        os.kill(pid, signal.SIGSTOP)
        node.wait_for_log("no heartbeat of vos_monitor for ")
        node.wait_for_log("vos_monitor does not end, sending SIGKILL")
        self.until_healthy(node, pid)

    def test_daemon_that_talks_nonsense_or_does_not_exist(self):
        node = self.node(**{"Watchdog.heartbeat_timeout_ms": 1000, "Watchdog.restart_delay_ms": 50})
        os.mkdir(node.path("bin"))
        self.supervise(node, shutil.copy(BIN + "/vos_watchdog", node.path("bin")))
        node.wait_for_log("exit status 127", 2)
        node.write("bin/vos_monitor", f"""#!{sys.executable}
import os, socket, time
beats = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
for i in range(300):
    link = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
    link.connect("vos.sock")
    link.send(os.urandom(i))
    beats.sendto(os.urandom(i), "watchdog.sock")
time.sleep(600)
""")
        os.chmod(node.path("bin/vos_monitor"), 0o755)
        node.wait_for_log("no heartbeat of vos_monitor", 2)
        node.signal(signal.SIGTERM)
        self.assertEqual(node.end(), 0)

    def test_supervisor_s_end_is_the_daemon_s(self):
        for number in (signal.SIGTERM, signal.SIGINT, signal.SIGKILL):
            node = self.supervised()
            pid = self.until_healthy(node)["pid"]
            node.signal(signal.SIGHUP)  # is none
            node.signal(number)
            self.assertEqual(node.end(), -9 if number == signal.SIGKILL else 0)
            until(lambda: state(pid) == "Z", "the daemon's end", 5)

    def test_peers_that_are_not_the_daemon(self):
        node = self.supervised()
        self.until_healthy(node)

        def link():
            end = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
            self.addCleanup(end.close)
            end.connect(node.path("vos.sock"))
            end.settimeout(5)
            return end
        for message, said in ((record(100), "it is not the supervised daemon"),
                              (record(7), "unsupported message type 7"),
                              (record(5)[:55], "a message of 55 bytes is too short")):
            with link() as end:
                end.send(message)
                self.assertEqual(end.recv(100), b"")
            node.wait_for_log(said)
        silent = [link() for _ in range(40)]
        node.wait_for_log("refused a control link: there are 32 already")
        node.signal(signal.SIGTERM)
        self.assertEqual((len(silent), node.end()), (40, 0))

    def test_notifications(self):
        node = self.node(**{"Monitoring.report_freq": 0, "General.vos_id": None,
                            "Watchdog.restart_delay_ms": 50})
        manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(manager.close)
        manager.bind(node.path("notify"))
        manager.settimeout(10)
        os.environ["NOTIFY_SOCKET"] = node.path("notify")
        self.addCleanup(os.environ.pop, "NOTIFY_SOCKET")
        self.supervise(node)
        told = ""
        for ready, wanted, then in (
                (0, "down, 2 restarts", lambda: node.configure(**{"General.vos_id": "node-7"})),
                (1, "READY=1\nWATCHDOG=1\nSTATUS=vos_monitor runs", lambda: node.signal(signal.SIGTERM)),
                (1, "STOPPING=1", lambda: None)):
            while wanted not in told:
                told += manager.recv(4096).decode() + "\n"
            self.assertEqual(told.count("READY=1"), ready, told)
            then()
        self.assertEqual(node.end(), 0)

    def test_restarts_leave_nothing_behind(self):
        node = self.supervised(log="WARN")
        pid = self.until_healthy(node)["pid"]
        before = None
        for _ in range(24):
            self.vosctl(node, "stop")
            pid = self.until_healthy(node, pid)["pid"]
            before = before or held(node.daemon.pid)
        after = held(node.daemon.pid)
        self.assertTrue(after[0] == before[0] and after[1] <= before[1] + 64, (before, after))

    def test_start_that_can_not_be(self):
        node = self.node()
        node.write("empty", "")
        os.mkdir(node.path("watchdog.sock"))
        for words, status, said in (((), 1, "watchdog.sock: Address already"),
                                    (("--config", "none"), 1, "Could not open configuration file"),
                                    (("--config", "empty"), 1, "missing configuration value"),
                                    (("--config",), 2, ""), (("--nonsense",), 2, ""),
                                    (("--help",), 0, ""), (("--version",), 0, "")):
            self.assertIn(said, self.said_by(node, "vos_watchdog", *words, status=status))


class Storm(NodeTest):
    def test_signals_at_any_moment(self):
        """The daemon ends as its table says, or by the signal before its handlers stand."""
        random.seed(7)
        with concurrent.futures.ThreadPoolExecutor(8) as pool:
            # A report is always being built, for a server that is not there.
            nodes = [self.node(log="ERROR", **{"Monitoring.report_freq": 10,
                                               "General.zel_report_url": "https://127.0.0.1:1"})
                     for _ in range(8)]
            list(pool.map(lambda node: [self.one_end(node) for _ in range(13)], nodes))

    def one_end(self, node):
        # The thread sanitizer handles faults at once, even while it holds a lock of its own.
        faults = (5, 6, 7, 13) if "tsan" in PRESET else ()
        number = random.choice([n for n in range(1, 31)
                                if n not in (3, 4, 8, 9, 11, 14, 19, 27, 28, *faults)])
        node.start(wait_for="")
        time.sleep(random.choice((random.uniform(0, 0.05), random.uniform(0.1, 0.4))))
        node.signal(number)
        # It survives these, once or before it handles them, or is not stopped: the kernel spares
        # a process group that has lost its parents.
        if number in (10, 12, 17, 18, 20, 21, 22, 23):
            time.sleep(0.02)
            node.signal(signal.SIGTERM)
        until(lambda: node.daemon.poll() is not None or state(node.daemon.pid) == "T", "an end", 10)
        if node.daemon.poll() is None:  # stopped before it had a handler: the supervisor notices
            self.assertIn(number, (20, 21, 22))
            node.signal(signal.SIGKILL)
            self.assertEqual(node.end(), -9)
            return
        # A sanitizer has a handler for SIGBUS of its own, until the daemon's stands.
        own = (1,) if SANITIZED and number == signal.SIGBUS else ()
        self.assertIn(node.end(), (0, -number, -15, *own), number)


run()
