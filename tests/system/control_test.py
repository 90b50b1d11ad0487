"""Supervisor, control messages and heartbeat: the real programs, and a peer that is not ours."""
import concurrent.futures
import json
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
from nodetest import BIN, PRESET, SANITIZED, TOP, NodeTest, Peer, run, until

ROUNDS = int(os.environ.get("VOS_SIGNAL_ROUNDS", "100"))
FLOOD = int(os.environ.get("VOS_FLOOD", "100000"))


def record(kind, sender=b"supervisor", destination=b"node-7"):
    return struct.pack("=H16s38s", kind, sender, destination)


def memory(pid):
    """Anonymous memory in KiB; sanitizers keep what was freed, so there it says nothing."""
    if SANITIZED:
        return 0
    with open(f"/proc/{pid}/status") as status:
        return int(re.search(r"RssAnon:\s+(\d+)", status.read())[1])


def descriptors(pid):
    return len(os.listdir(f"/proc/{pid}/fd"))


def linked(pid):
    """Whether the daemon holds its end of a control link, the only connected one of its kind."""
    with open(f"/proc/{pid}/net/unix") as table:
        rows = [line.split() for line in table.readlines()[1:]]
    return any(row[4] == "0005" and row[5] == "03" for row in rows)


def stopped(pid):
    with open(f"/proc/{pid}/stat") as stat:
        return stat.read().split(") ")[1][0] == "T"


class Control(NodeTest):
    def linked(self, **settings):
        node = self.node(**{"Monitoring.report_freq": 0, **settings})
        peer = Peer(node)
        node.start(wait_for="")
        hello = peer.accept()
        self.addCleanup(peer.close)
        if "log" not in settings:
            node.wait_for_log("calculate_processes_performance")
        return node, peer, hello

    def test_every_message(self):
        node, peer, hello = self.linked()
        self.assertEqual(hello, record(100, b"vos_monitor", b"node-7"))
        self.assertEqual(peer.heartbeat(), record(1, b"vos_monitor", b"watchdog"))
        warning = "WARN VOSMonitor: handle_ipc_msg: "
        for message, said in (
                (b"", None), (b"x", f"{warning}incoming message size (1) is too small."),
                (record(5)[:55], f"{warning}incoming message size (55) is too small."),
                (record(3), f"{warning}unsupported message type: 3"),
                (record(65535) + b"x" * 4040, f"{warning}unsupported message type: 65535"),
                (record(2, b"0123456789abcdefNOT READ"), "reconf requested by: [ 0123456789abcdef ]."),
                (record(2) + b"x", "WARN VOSMonitor: handle_reconf_msg: invalid termination message "
                                   "size: 57"),
                (record(2) + b"x" * 5000, "handle_reconf_msg: invalid termination message size: 4096")):
            peer.link.send(message)
            if said:
                node.wait_for_log(said)
        for message in [record(3)] * 3:
            peer.link.send(message)
        node.wait_for_log("unsupported message type: 3", 4)
        self.assertIn("INFO VOSMonitor: Received reconf signal", node.read("log"))
        self.assertEqual(node.read("log").count("Handling reconfigure event"), 3)
        self.assertIsNone(node.daemon.poll())

    def test_terminate_and_stop_end_the_daemon(self):
        for message, said in (
                (record(5), ["Received termination signal",
                             "handle_term_msg: termination requested by: [ supervisor ]."]),
                (record(11) + b"x", ["Received stop signal, probably configuration has changed",
                                     "handle_term_msg: invalid stop message size: 57",
                                     "handle_stop_msg: stop requested by: [ supervisor ]."])):
            with self.subTest(said[0]):
                node, peer, _ = self.linked()
                peer.link.send(message)
                self.assertEqual(node.end(), 0)
                for text in said + ["VOS has monitor successfully stopped"]:
                    self.assertIn(text, node.read("log"))

    def test_link_that_is_lost_and_heartbeats_nobody_takes(self):
        node, peer, _ = self.linked(**{"General.message_check_timeout_ms": 50})
        self.assertTrue(linked(node.daemon.pid))
        peer.link.close()
        until(lambda: not linked(node.daemon.pid), "the link to be closed")
        peer.beats.close()
        os.unlink(node.path("watchdog.sock"))
        node.signal(signal.SIGUSR1)
        node.wait_for_log("Handling reconfigure event")
        self.assertIsNone(node.daemon.poll())
        node.signal(signal.SIGTERM)
        self.assertEqual(node.end(), 0)

    def test_flood_of_messages(self):
        node, peer, _ = self.linked(log="FATAL")
        peer.heartbeat()
        node.wait_for_quiet()
        before = memory(node.daemon.pid), descriptors(node.daemon.pid)
        peer.beats.setblocking(False)
        beats, sent, start = [time.monotonic()], 0, time.monotonic()
        while sent < FLOOD or time.monotonic() < start + 5:
            peer.link.send(record(2 if sent % 2 == 0 else 3))
            sent += 1
            try:
                if peer.beats.recv(4096):
                    beats.append(time.monotonic())
            except BlockingIOError:
                pass
        gaps = [b - a for a, b in zip(beats, beats[1:])]
        node.wait_for_quiet()
        after = memory(node.daemon.pid), descriptors(node.daemon.pid)
        print(f"{sent} records: anonymous memory and descriptors {before} {after}, "
              f"heartbeat gaps {min(gaps):.2f} to {max(gaps):.2f} s", file=sys.stderr)
        self.assertLess(max(gaps), 1.1)
        self.assertLessEqual(after[0], before[0] + 128)
        self.assertEqual(after[1], before[1])
        peer.link.send(record(5))
        self.assertEqual(node.end(), 0)

    def test_heartbeat_while_a_hundred_processes_are_measured(self):
        node = self.node(log="INFO", **{"Monitoring.report_freq": 2000}).serve()
        shutil.copy("/bin/sleep", node.path("vos"))
        children = [subprocess.Popen([node.path("vos"), "600"]) for _ in range(100)]
        self.addCleanup(lambda: [(child.kill(), child.wait()) for child in children])
        peer = Peer(node)
        node.start(wait_for="")
        peer.accept()
        self.addCleanup(peer.close)
        node.wait_for_log("Collecting VOS health report took", 1)
        peer.heartbeat()
        peer.beats.setblocking(False)
        try:
            while peer.beats.recv(4096):  # those from before the count
                pass
        except BlockingIOError:
            beats = []
        end = time.monotonic() + 30
        while time.monotonic() < end:
            peer.heartbeat()
            beats.append(time.monotonic())
        gaps = [b - a for a, b in zip(beats, beats[1:])]
        took = re.findall(r"report took (\d+)ms", node.read("log"))
        print(f"{len(beats)} heartbeats in 30 s, gaps {min(gaps):.2f} to {max(gaps):.2f} s, reports "
              f"took {took} ms", file=sys.stderr)
        self.assertGreater(len([ms for ms in took if int(ms) > 200]), 5)
        self.assertTrue(27 <= len(beats) <= 33, len(beats))
        self.assertLess(max(gaps), 1.1)


class Supervised(NodeTest):
    def supervise(self, **settings):
        node = self.node(**{"Monitoring.report_freq": 0, **settings})
        node.daemon = node.run_in_background("out", [BIN + "/vos_watchdog"])
        return node

    def vosctl(self, node, *words, status=0):
        done = subprocess.run([BIN + "/vosctl", *words], capture_output=True, text=True,
                              env=dict(os.environ, VOS_IPC_DIR=node.folder), cwd=node.folder)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout + done.stderr

    def status(self, node):
        done = subprocess.run([BIN + "/vosctl", "status", "--json"], capture_output=True, text=True,
                              env=dict(os.environ, VOS_IPC_DIR=node.folder))
        return json.loads(done.stdout) if done.stdout else {}

    def until_healthy(self, node, other_than=0, seconds=20):
        def healthy():
            status = self.status(node)
            return status.get("healthy") and status["control_link"] and status["pid"] != other_than \
                and status
        return until(healthy, "a healthy daemon; log: " + node.read("log")[-2000:], seconds)

    def test_operator_s_requests(self):
        node = self.supervise()
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
        self.assertFalse(os.path.exists(f"/proc/{second['pid']}"))
        for verb in ("reload", "stop", "terminate", "status"):
            self.assertIn("no supervisor", self.vosctl(node, verb, status=3))
        for words in ((), ("nonsense",), ("stop", "now"), ("--nonsense", "stop"), ("--config",)):
            self.vosctl(node, *words, status=2)
        for words in (("--help",), ("status", "--help"), ("--version",)):
            self.vosctl(node, *words)

    def refuses_to_reload_what_is_broken(self, node):
        """The daemon's own file is the one that counts, wherever vosctl is called."""
        for text, said in (("", "empty"), ("General = {", ":1: syntax error")):
            node.write("vos.conf", text)
            done = subprocess.run([BIN + "/vosctl", "reload"], capture_output=True, text=True,
                                  env=dict(os.environ, VOS_IPC_DIR=node.folder), cwd="/")
            self.assertIn(said, done.stderr)
            self.assertEqual((done.returncode, node.read("log").count("requested by")), (1, 1))
        node.write_conf()
        self.vosctl(node, "set", "General.zel_report_url", "https://192.0.2.1:443")
        self.vosctl(node, "check")
        os.rename("/opt/vos/client.pem", "/opt/vos/away")
        self.addCleanup(os.rename, "/opt/vos/away", "/opt/vos/client.pem")
        self.assertIn("client certificate /opt/vos/client.pem: No such file",
                      self.vosctl(node, "check", status=1))
        self.assertEqual(self.vosctl(node, "get", "General.polling_rate_ms"), "20\n")
        self.assertIn("General.zel_report_url=https://192.0.2.1:443\n", self.vosctl(node, "list"))
        self.vosctl(node, "set", "General.polling_rate_ms", "0", status=1)
        self.vosctl(node, "check", os.path.join(TOP, "examples/vos.conf"))

    def test_daemon_that_ends_by_itself_is_started_again_after_a_growing_pause(self):
        node = self.supervise(**{"General.vos_id": None, "Watchdog.restart_delay_ms": 50,
                                 "Watchdog.longest_restart_delay_ms": 400})
        node.wait_for_log("starting vos_monitor again in 400 ms", 2)
        pauses = re.findall(r"again in (\d+) ms", node.read("log"))
        self.assertEqual(pauses[:5], ["50", "100", "200", "400", "400"])
        self.assertIn("ended after", node.read("log"))
        self.assertIn("not running", self.vosctl(node, "status", status=1))
        self.assertIn("General.vos_id: missing", self.vosctl(node, "reload", status=1))
        self.assertIn("not running", self.vosctl(node, "reload", "--force", status=1))
        node.configure(**{"General.vos_id": "node-7"})
        pid = self.until_healthy(node)["pid"]
        os.kill(pid, signal.SIGHUP)  # ends with status 0, but nobody asked
        self.until_healthy(node, pid)

    def test_daemon_that_hangs_is_killed(self):
        node = self.supervise(**{"Watchdog.heartbeat_timeout_ms": 1500, "Watchdog.kill_delay_ms": 300,
                                 "Watchdog.restart_delay_ms": 50})
        pid = self.until_healthy(node)["pid"]
        os.kill(pid, signal.SIGSTOP)
        node.wait_for_log("no heartbeat of vos_monitor for ")
        node.wait_for_log("vos_monitor does not end, sending SIGKILL")
        self.until_healthy(node, pid)

    def test_daemon_that_talks_nonsense_or_does_not_exist(self):
        node = self.node(**{"Watchdog.heartbeat_timeout_ms": 1000, "Watchdog.restart_delay_ms": 50})
        os.mkdir(node.path("bin"))
        shutil.copy(BIN + "/vos_watchdog", node.path("bin"))
        node.daemon = node.run_in_background("out", [node.path("bin/vos_watchdog")])
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
            node = self.supervise()
            pid = self.until_healthy(node)["pid"]
            node.signal(signal.SIGHUP)  # is none
            node.signal(number)
            self.assertEqual(node.end(), -9 if number == signal.SIGKILL else 0)

            def gone():
                try:
                    with open(f"/proc/{pid}/stat") as stat:
                        return stat.read().split(") ")[1][0] == "Z"
                except FileNotFoundError:
                    return True
            until(gone, "the daemon's end", 5)
        self.until_healthy(self.supervise())

    def test_peers_that_are_not_the_daemon(self):
        node = self.supervise()
        self.until_healthy(node)

        def link():
            end = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
            end.connect(node.path("vos.sock"))
            end.settimeout(5)
            return end
        for message, said in ((record(100), "it is not the supervised daemon"),
                              (record(7), "unsupported message type 7"),
                              (record(5)[:55], "a message of 55 bytes is too short")):
            end = link()
            end.send(message)
            self.assertEqual(end.recv(100), b"")
            end.close()
            node.wait_for_log(said)
        silent = [link() for _ in range(40)]
        node.wait_for_log("refused a control link: there are 32 already")
        node.signal(signal.SIGTERM)
        self.assertEqual(node.end(), 0)
        for end in silent:
            end.close()

    def test_notifications(self):
        node = self.node(**{"Monitoring.report_freq": 0})
        manager = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        manager.bind(node.path("notify"))
        manager.settimeout(10)
        self.addCleanup(manager.close)
        os.environ["NOTIFY_SOCKET"] = node.path("notify")
        self.addCleanup(os.environ.pop, "NOTIFY_SOCKET")
        node.daemon = node.run_in_background("out", [BIN + "/vos_watchdog"])
        told = ""
        while not all(text in told for text in ("READY=1", "WATCHDOG=1", "STATUS=vos_monitor runs")):
            told += manager.recv(4096).decode() + "\n"
        node.signal(signal.SIGTERM)
        while "STOPPING=1" not in told:
            told += manager.recv(4096).decode() + "\n"
        self.assertEqual(node.end(), 0)

    def test_restarts_leave_nothing_behind(self):
        node = self.supervise(log="WARN")
        pid = self.until_healthy(node)["pid"]
        before = None
        for _ in range(24):
            self.vosctl(node, "stop")
            pid = self.until_healthy(node, pid)["pid"]
            before = before or (memory(node.daemon.pid), descriptors(node.daemon.pid))
        after = memory(node.daemon.pid), descriptors(node.daemon.pid)
        print("24 restarts: supervisor's anonymous memory and descriptors", before, after,
              file=sys.stderr)
        self.assertLessEqual(after[0], before[0] + 64)
        self.assertEqual(after[1], before[1])

    def test_start_that_can_not_be(self):
        for change, status, said in (
                (lambda node: os.unlink(node.path("vos.conf")), 1, "Could not open configuration file"),
                (lambda node: node.configure(**{"Monitoring.log_config_file": None}), 1,
                 "missing configuration value"),
                (lambda node: os.mkdir(node.path("watchdog.sock")), 1, "watchdog.sock: Address already"),
                (lambda node: os.chown(node.folder, 12345, 12345), 1, "Permission denied")):
            with self.subTest(said):
                node = self.node()
                change(node)
                node.daemon = node.run_in_background("out", [BIN + "/vos_watchdog"])
                self.assertEqual(node.end(), status)
                self.assertIn(said, node.read("out"))
        for words, status in ((["--help"], 0), (["--version"], 0), (["--nonsense"], 2),
                              (["--config"], 2), (["--config", "/nowhere"], 1)):
            done = subprocess.run([BIN + "/vos_watchdog", *words], capture_output=True)
            self.assertEqual(done.returncode, status, words)


class Storm(NodeTest):
    def test_signals_at_any_moment(self):
        """The daemon ends as its table says, or by the signal before its handlers stand."""
        random.seed(7)
        with concurrent.futures.ThreadPoolExecutor(8) as pool:
            # A report is always being built, for a server that is not there.
            nodes = [self.node(log="ERROR", **{"Monitoring.report_freq": 10,
                                               "General.zel_report_url": "https://127.0.0.1:1"})
                     for _ in range(8)]
            ends = sum(pool.map(lambda node: [self.one_end(node) for _ in range(ROUNDS // 8 + 1)],
                                nodes), [])
        print(f"{len(ends)} signals: {ends.count(0)} ended normally, {ends.count('stopped')} were "
              f"stopped and the others ended by the signal before a handler stood", file=sys.stderr)

    def one_end(self, node):
        # The thread sanitizer handles faults at once, even while it holds a lock of its own.
        faults = (5, 6, 7, 13) if "tsan" in PRESET else ()
        number = random.choice([n for n in range(1, 31)
                                if n not in (3, 4, 8, 9, 11, 14, 19, 27, 28, *faults)])
        node.start(wait_for="")
        time.sleep(random.choice((random.uniform(0, 0.05), random.uniform(0.1, 0.4))))
        node.signal(number)
        # It survives these, once or before it handles them; and the kernel stops nobody whose
        # process group has lost its parents, as behind a detached shell.
        if number in (10, 12, 17, 18, 20, 21, 22, 23):
            time.sleep(0.02)
            node.signal(signal.SIGTERM)
        until(lambda: node.daemon.poll() is not None or stopped(node.daemon.pid), "an end", 10)
        if node.daemon.poll() is None:
            # Stopped by SIGTSTP and its like before there was a handler, as any program is: the
            # supervisor will notice.
            self.assertIn(number, (20, 21, 22))
            node.daemon.kill()
            node.daemon.wait()
            return "stopped"
        # A sanitizer has a handler for SIGBUS of its own, until the daemon's stands.
        own = (1,) if SANITIZED and number == signal.SIGBUS else ()
        self.assertIn(node.daemon.poll(), (0, -number, -15, *own), number)
        return node.daemon.poll()


run()
