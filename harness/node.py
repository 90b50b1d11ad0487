"""One node in namespaces of its own: the real daemon, a real HTTPS server, their files.

isolate() moves a program into new network, mount and pid namespaces: no packet leaves, /opt/vos
and the resolver's files are its own, and the kernel ends whatever it leaves behind.
"""
import contextlib
import itertools
import json
import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
BIN = os.environ.get("VOS_BIN", os.path.join(TOP, "build/release/bin"))
PRESET = os.path.basename(os.path.dirname(os.path.abspath(BIN)))
# Sanitizers keep freed memory, and tolerate no other preloaded library.
SANITIZED = "san" in PRESET
SECRET = "s3cret phrase"
RESOLV_CONF = "/opt/resolv.conf"


def isolate():
    """Moves this program into namespaces of its own; returns once there. What keeps it out, if
    anything does."""
    if os.environ.get("VOS_ISOLATED"):
        return enter()
    command = ["unshare", "--net", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]
    if os.geteuid() != 0:
        command.insert(1, "--map-root-user")
    trial = subprocess.run(command + ["true"], capture_output=True, text=True)
    if trial.returncode != 0:
        return "no namespaces here: " + trial.stderr.strip()
    os.environ["VOS_ISOLATED"] = "1"
    os.execvp(command[0], command + [sys.executable] + sys.argv)


def enter():
    hosts = tempfile.NamedTemporaryFile("w", delete=False)
    hosts.write("127.0.0.1 localhost zel.example\n")
    hosts.close()
    for command in (["ip", "link", "set", "lo", "up"],
                    ["mount", "-t", "tmpfs", "none", "/opt"], ["mkdir", "/opt/vos"],
                    ["touch", RESOLV_CONF],
                    ["mount", "--bind", hosts.name, "/etc/hosts"]):
        subprocess.run(command, check=True)
    os.unlink(hosts.name)
    resolver = os.path.realpath("/etc/resolv.conf")
    if os.path.exists(resolver):
        subprocess.run(["mount", "--bind", RESOLV_CONF, resolver], check=True)
    make_certificate("/opt/key", "/opt/crt", "/opt/vos/client.pem")


def make_certificate(key, certificate, both):
    """One that signs itself, of two days: its files, and one of both."""
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                    "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj", "/CN=node",
                    "-keyout", key, "-out", certificate], check=True, capture_output=True)
    with open(both, "w") as pem, open(key) as one, open(certificate) as other:
        pem.write(one.read() + other.read())


def set_name_servers(*addresses):
    """Has /etc/resolv.conf name these; there are none at first."""
    with open(RESOLV_CONF, "w") as file:
        file.write("".join(f"nameserver {address}\n" for address in addresses))


def until(condition, what, seconds=20):
    """The first true value of condition(); fails the test when there is none in time."""
    deadline = time.monotonic() + seconds
    while time.monotonic() < deadline:
        value = condition()
        if value:
            return value
        time.sleep(0.02)
    raise AssertionError("waited in vain for " + what)


class Node:
    """The files, the server and the daemon of one node. Settings are by dotted path; None
    leaves a key out."""

    def __init__(self, **settings):
        self.folder = tempfile.mkdtemp(prefix="vos_system.")
        self.server = self.daemon = None
        self.key_file = self.path("secret.key")
        self.settings = {
            "General.vos_id": "node-7", "General.vos_public_ip": "192.0.2.7",
            "General.datacenter_id": "dc-1", "General.hmac_timeout": 60000,
            "General.hmac_key_file": self.key_file, "General.polling_rate_ms": 20,
            "General.zel_http_client_timeout_sec": 5, "General.max_thread_runtime_ms": 5000,
            "Monitoring.log_config_file": self.path("log4cpp.properties"),
            "Monitoring.report_path": "/report", "Monitoring.report_freq": 1000,
            "Monitoring.local_json_report_path": self.path("report.json")}
        self.write("log4cpp.properties", f"""log4cpp.rootCategory={settings.pop('log', 'DEBUG')}, F
log4cpp.appender.F=FileAppender
log4cpp.appender.F.fileName={self.path('log')}
log4cpp.appender.F.layout=PatternLayout
log4cpp.appender.F.layout.ConversionPattern=%p %c: %m%n
""")
        self.write_conf()
        # Started by a path of its own: the hosts file lies beside the program.
        os.symlink(BIN + "/vos_monitor", self.path("vos_monitor"))
        sealed = subprocess.run([BIN + "/vosctl", "seal"], input=SECRET + "\n", text=True,
                                cwd=self.folder, capture_output=True, check=True)
        self.configure(**{"General.hmac_secret": sealed.stdout.strip()}, **settings)

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, text):
        with open(self.path(name) + "~", "w") as file:
            file.write(text)
        os.replace(self.path(name) + "~", self.path(name))

    def read(self, name):
        try:
            with open(self.path(name), errors="replace") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    def configure(self, **settings):
        self.settings.update(settings)
        self.write_conf()

    def write_conf(self):
        groups = {}
        for key, value in self.settings.items():
            if value is not None:
                group, name = key.split(".")
                groups.setdefault(group, []).append(f"  {name} = {json.dumps(value)};\n")
        self.write("vos.conf", "".join(f"{g} = {{\n{''.join(k)}}};\n" for g, k in groups.items()))

    def run_in_background(self, output, command):
        with open(self.path(output), "w") as out:
            return subprocess.Popen(command, cwd=self.folder, stdout=out, stderr=out,
                                    env=dict(os.environ, VOS_IPC_DIR=self.folder))

    def serve(self, host="127.0.0.1", tls=True):
        """Starts the server and points the node to it under the name `host`. With TLS it asks for
        the node's certificate."""
        self.write("fault", "ok")
        os.mkdir(self.path("accepted"))
        with open("/opt/key") as key, open("/opt/crt") as certificate:
            self.write("server.pem", key.read() + certificate.read())
        self.server = self.run_in_background("server.log", [
            sys.executable, TOP + "/examples/report_server.py",
            *(("--cert", self.path("server.pem"), "--client-ca", "/opt/crt") if tls else ()),
            "--secret", SECRET, "--key-id", self.settings["General.datacenter_id"], "--period",
            "60000", "--path", "/report", "--port-file", self.path("port"), "--keep",
            self.path("accepted"), "--fault", self.path("fault")])
        port = until(lambda: self.read("port"), "the server's port").strip()
        self.configure(**{"General.zel_report_url": f"http{'s' * tls}://{host}:{port}"})
        return self

    def start(self, mount=(), shell="", wait_for="VOS monitor has successfully started"):
        """Starts the daemon; `mount` is a path and one of its own over which it sees that, `shell`
        what a shell does before it becomes the daemon."""
        mount = f"mount --bind {' '.join(mount)} &&" if mount else ""
        self.daemon = self.run_in_background("out", [
            "unshare", "--mount", "/bin/sh", "-c", f"{mount} exec {self.path('vos_monitor')} {shell}"])
        if wait_for:
            self.wait_for_log(wait_for)
        return self

    def wait_for_log(self, text, count=1, seconds=20):
        until(lambda: self.read("log").count(text) >= count, f"{count} x {text!r} in the log",
              seconds)

    def wait_for_quiet(self):
        """Until the daemon has worked off what it was sent: its main thread sleeps."""
        def ticks():
            with open(f"/proc/{self.daemon.pid}/task/{self.daemon.pid}/schedstat") as stat:
                return stat.read()

        def quiet():
            before = ticks()
            time.sleep(0.3)
            return ticks() == before
        until(quiet, "a quiet daemon")

    def reports(self):
        """Accepted reports, oldest first: (document, what the server noted of the request)."""
        names = sorted(name[:-len(".json")] for name in os.listdir(self.path("accepted"))
                       if name.endswith(".json") and not name.endswith(".meta.json"))
        return [(json.loads(self.read(f"accepted/{name}.json")),
                 json.loads(self.read(f"accepted/{name}.meta.json"))) for name in names]

    def wait_for_reports(self, count, seconds=30):
        return until(lambda: (lambda all: len(all) >= count and all)(self.reports()),
                     f"{count} accepted reports; server says {self.read('server.log')}", seconds)

    def signal(self, number):
        self.daemon.send_signal(number)

    def end(self, seconds=10):
        """Waits for the daemon's own end; its exit status."""
        return self.daemon.wait(seconds)

    def close(self):
        for process in (self.daemon, self.server):
            if process and process.poll() is None:
                process.send_signal(signal.SIGKILL)
                process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)


class Peer:
    """A supervisor in a script: takes hello and heartbeats, sends what a test wants."""

    def __init__(self, node):
        self.beats = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.beats.bind(node.path("watchdog.sock"))
        self.listener = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
        self.listener.bind(node.path("vos.sock"))
        self.listener.listen()
        self.listener.settimeout(10)

    def accept(self):
        self.link = self.listener.accept()[0]
        return self.link.recv(4096)

    def heartbeat(self, seconds=5):
        self.beats.settimeout(seconds)
        return self.beats.recv(4096)

    def heartbeat_gaps(self, goes_on):
        """The seconds between the heartbeats that come while goes_on()."""
        self.beats.setblocking(False)
        with contextlib.suppress(BlockingIOError):
            while self.beats.recv(4096):  # those from before
                pass
        beats = []
        while goes_on():
            self.heartbeat()
            beats.append(time.monotonic())
        return [after - before for before, after in itertools.pairwise(beats)]

    def close(self):
        for end in (self.beats, self.listener, self.link):
            end.close()
