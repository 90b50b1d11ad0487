"""The node of a scripted run: under its supervisor, and with the script in its place."""
import contextlib
import json
import os
import shutil
import signal
import socket
import subprocess
import time

import normal_text
from name_server import NameServer
from node import BIN, Peer, make_certificate, set_name_servers, until
from scripted_part import BROKEN, FREQUENCY, HOUR, Part, record
from watch import ask_status

SENT = "HTTP request completed successfully."
OFF = "Configuration does not allow sending reports"
URL, LOCAL = "General.zel_report_url", "Monitoring.local_json_report_path"
TOLD = 1.2  # seconds; the daemon tells of itself once in one
LOOK = 1.3  # seconds; the log settings are looked at once in one
CLIENT_CERTIFICATE = "/opt/vos/client.pem"


class Watched(Part):
    """A node under its supervisor."""

    def __init__(self, **settings):
        super().__init__(**settings)
        node = self.node
        log = node.read("log4cpp.properties").replace(node.path("log"), node.path("watchdog.log"))
        node.write("watchdog.properties", log)
        node.configure(**{"Watchdog.log_config_file": node.path("watchdog.properties")})
        # Started there, because the hosts file lies beside the program.
        os.mkdir(node.path("bin"))
        for program in ("vos_watchdog", "vos_monitor"):
            shutil.copy(f"{BIN}/{program}", node.path("bin"))

    def start(self):
        # Without a terminal or an input, which a protected key's password would be asked of.
        self.node.daemon = self.node.run_in_background("out", [
            "/bin/sh", "-c", f"exec setsid {self.node.path('bin/vos_watchdog')} </dev/null"])

    def await_status(self, **wanted):
        """Until there is a supervisor whose answer holds all of this."""

        def holds():
            with contextlib.suppress(OSError):
                return wanted.items() <= ask_status(self.node.folder).items()

        until(holds, str(wanted))

    def tell_end(self):
        """Waits for the supervisor's end, and tells all that it said."""
        node = self.node
        self.say(f"supervisor: exit {node.end()}", self.normal.log(node.read("watchdog.log")))
        self.say(self.normal.names(node.read("out")))


class Supervised(Watched):
    """Start, reports, reloads, faults and the end."""

    def __init__(self):
        super().__init__()
        self.requests = 0
        self.node.serve("zel.example")
        self.url = self.node.settings[URL]

    def run(self):
        self.start()
        self.step("start", SENT)
        self.tell_requests()
        self.report("a report", SENT)
        self.tell_requests()
        self.reload_by_operator()
        self.tell_requests()
        self.ask()
        self.files_that_fail()
        self.certificate()
        self.log_settings()
        self.messages()
        self.names()
        self.lose_the_server()
        self.node.signal(signal.SIGTERM)
        self.step("end", "successfully stopped")
        self.tell_end()
        self.say(self.normal.names(self.node.read("server.log")))

    def signal_daemon(self, number):
        os.kill(ask_status(self.node.folder)["pid"], number)

    def reload(self, title, said, **settings):
        self.node.configure(**settings)
        self.signal_daemon(signal.SIGUSR1)
        self.step(title, said)

    def report(self, title, said, **settings):
        """Builds a report now: reporting is switched off and on again."""
        self.reload("off", OFF, **{FREQUENCY: 0})
        self.reload(title, said, **{FREQUENCY: HOUR, **settings})

    def tell_requests(self):
        """What came to the server since the last time."""
        reports = self.node.wait_for_reports(self.requests + 1)
        for document, request in reports[self.requests:]:
            self.say(self.normal.names(normal_text.request_text(document, request)))
        self.requests = len(reports)

    def reload_by_operator(self):
        for value, said in (("0", OFF), (str(HOUR), SENT)):
            self.command("set", FREQUENCY, value)
            self.command("reload")
            self.step("vosctl reload", said)
        self.node.write_conf()

    def ask(self):
        time.sleep(TOLD)
        for words in (["status"], ["status", "--json"], ["report"]):
            self.command(*words)
        self.command("top", "--once", figures=True, in_order=False)
        for _ in range(2):  # the second time there is a file
            self.command("bundle", "case")
        case = self.normal.names(self.node.read("case"))
        self.say(case[case.index("===== conf"): case.index("===== status")])
        self.say(*(line for line in case.splitlines() if line.startswith(("=====", "-----"))))

    def files_that_fail(self):
        self.node.write("fault", "status 500")
        self.report("the server refuses", "HTTP reponse error: 500")
        self.node.write("fault", "ok")
        self.report("no local copy", "no report this time", **{LOCAL: "/nowhere/report.json"})
        self.report("a local copy again", SENT, **{LOCAL: self.node.path("report.json")})
        self.node.write("vos.conf", BROKEN)
        self.command("check")
        self.command("reload")
        self.signal_daemon(signal.SIGUSR1)
        self.step("broken configuration", "Exception caught reloading")
        self.reload("mended configuration", SENT)

    def certificate(self):
        """The client's becomes one that does not do, and is put back."""
        other = self.node.path("other")
        make_certificate(other + ".key", other + ".crt", other)
        key, protected, certificate = (subprocess.run(
            ["openssl", *words.split()], check=True, capture_output=True, text=True).stdout
            for words in (f"pkey -in {other}.key", "ec -in /opt/key -aes256 -passout pass:x",
                          "x509 -in /opt/crt"))
        good = self.node.read(CLIENT_CERTIFICATE)
        for what, text in (
            ("garbage", "garbage\n"),
            ("gone", None),
            ("with the key of another", key + certificate),
            ("with a protected key", protected + certificate),
            ("without a key", certificate),
            ("cut", good[:-100]),
        ):
            if text is None:
                os.unlink(CLIENT_CERTIFICATE)
            else:
                self.node.write(CLIENT_CERTIFICATE, text)
            for _ in range(2):
                self.report("certificate " + what, "Status code: 58")
            self.node.write(CLIENT_CERTIFICATE, good)
            self.report("certificate put back", SENT)
            self.say(str(self.node.reports()[-1][1]["tls"]))
        self.tell_requests()

    def log_settings(self):
        good = self.node.read("log4cpp.properties")
        self.node.write("log4cpp.properties", "log4cpp.rootCategory=LOUD, F\n")
        time.sleep(LOOK)
        self.reload("broken log settings", "the old settings stay")
        self.command("check")
        self.node.write("log4cpp.properties", good)
        time.sleep(LOOK)
        self.reload("mended log settings", "Handling reconfigure event")

    def messages(self):
        """To the supervisor; its log tells of them at the end."""
        for message in (record(3), record(2)[:20], record(65535) + b"x"):
            with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as link:
                link.connect(self.node.path("vos.sock"))
                link.send(message)
                link.recv(1)
        self.signal_daemon(signal.SIGCHLD)
        self.signal_daemon(signal.SIGUSR2)
        self.step("memory profile", "memory profile")

    def names(self):
        port = self.url.rpartition(":")[2]
        NameServer("127.0.0.1")
        set_name_servers("127.0.0.1")
        self.report("a name server", SENT, **{URL: "https://zel.dns:" + port})
        self.report("no URL", "Failed parsing ZEL URL", **{URL: "nonsense"})
        # The next daemon reads this list; nobody answers there.
        set_name_servers("127.0.0.9")
        self.node.configure(**{URL: "https://zel.dns:" + port})
        self.command("stop")
        self.step("stopped, and a name remembered", SENT)
        self.report("unknown name", "giving up", **{URL: "https://unknown.example:" + port})

    def lose_the_server(self):
        self.node.server.kill()
        self.node.server.wait()
        self.report("the server is gone", "Server replied with reset.", **{URL: self.url})
        time.sleep(TOLD)
        self.command("status")


class Down(Watched):
    """A supervisor whose daemon has ended, and one that an operator ends."""

    def __init__(self):
        down = {"General.vos_id": None, "Watchdog.restart_delay_ms": HOUR}
        super().__init__(**down, **{"Watchdog.longest_restart_delay_ms": HOUR})

    def run(self):
        self.start()
        self.step("a daemon that ends", "Failed to start VOS monitor. Exiting")
        self.await_status(running=False)
        for words in ("status", "status --json", "reload", "reload --force", "stop", "terminate"):
            self.command(*words.split())
        self.node.signal(signal.SIGTERM)
        self.tell_end()
        self.node.configure(**{"General.vos_id": "node-7", FREQUENCY: 0})
        self.start()
        self.await_status(control_link=True)
        self.command("terminate")
        self.tell_end()


class Alone(Part):
    """The bytes of a daemon's link, and its own answers to messages."""

    def __init__(self):
        super().__init__(**{FREQUENCY: 0})
        self.peer = Peer(self.node)

    def close(self):
        super().close()
        self.peer.close()

    def run(self):
        os.environ["VOS_NODE_STATUS"] = "1"  # as a supervisor that wants to be told
        self.node.start(wait_for="")
        del os.environ["VOS_NODE_STATUS"]
        self.say("hello " + self.peer.accept().hex(), "beat " + self.peer.heartbeat().hex())
        self.peer.link.settimeout(5)
        status = self.peer.link.recv(4096)
        told = normal_text.key_paths(json.loads(status[56:].rstrip(b"\0")))
        self.say("status " + status[:56].hex(), *told)
        self.step("alone", "calculate_processes_performance")
        for message, said in (
            (b"x", "too small"),
            (record(3)[:55], "too small"),
            (record(3), "unsupported message type"),
            (record(65535) + b"x" * 4040, "unsupported message type"),
            (record(2, b"0123456789abcdef"), "reconf requested by"),
            (record(2) + b"x", "reconf requested by"),
            (record(11) + b"x", "successfully stopped"),
        ):
            self.peer.link.send(message)
            self.step(f"message of {len(message)} bytes", said)
        self.say(f"daemon: exit {self.node.end()}", self.normal.names(self.node.read("out")))
