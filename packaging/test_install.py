#!/usr/bin/env python3
"""Installs, upgrades, downgrades and removes the packages in FOLDER in a clean Debian system, under
its own service manager, against a report server on loopback. Prints what it has verified."""
import contextlib
import glob
import os
import shutil
import subprocess
import sys
import tempfile
import time

sys.dont_write_bytecode = True
from clean_root import CleanRoot, isolate, make_base, until  # noqa: E402

TOP = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
SECRET = "s3cret phrase"
UNIT = "vos-monitor.service"
CONF = "/opt/vos/vos.conf"


def verified(text):
    print("ok      " + text, flush=True)


def expect(condition, text, context=""):
    if not condition:
        raise AssertionError(f"{text}\n{context}")
    verified(text)


def make_older(package, folder):
    """The same package as version 3.91.29, whose configuration has no "builtin_commands" yet."""
    tree = os.path.join(folder, "tree")
    subprocess.run(["dpkg-deb", "-R", package, tree], check=True)
    for path, change in (("DEBIAN/control", ("Version: 3.91.30", "Version: 3.91.29")),
                         ("opt/vos/share/vos.conf", ("    builtin_commands = true;\n", ""))):
        with open(os.path.join(tree, path)) as file:
            text = file.read()
        assert change[0] in text
        with open(os.path.join(tree, path), "w") as file:
            file.write(text.replace(*change))
    subprocess.run(["dpkg-deb", "-b", tree, folder + "/older.deb"], check=True,
                   stdout=subprocess.DEVNULL)
    shutil.rmtree(tree)


class Server:
    def __init__(self, folder):
        self.folder = folder
        os.mkdir(folder + "/accepted")
        subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:prime256v1", "-nodes", "-days", "2", "-subj", "/CN=node",
                        "-keyout", folder + "/key", "-out", folder + "/crt"],
                       check=True, capture_output=True)
        self.pem = open(folder + "/key").read() + open(folder + "/crt").read()
        with open(folder + "/server.pem", "w") as file:
            file.write(self.pem)
        self.process = subprocess.Popen(
            [sys.executable, TOP + "/examples/report_server.py", "--cert", folder + "/server.pem",
             "--secret", SECRET, "--key-id", "dc-1", "--period", "60000", "--path", "/report",
             "--port-file", folder + "/port", "--keep", folder + "/accepted"])
        until(lambda: os.path.exists(folder + "/port"), "the server")
        self.url = "https://127.0.0.1:" + open(folder + "/port").read().strip()

    def accepted(self):
        return [name for name in os.listdir(self.folder + "/accepted") if name.endswith(".meta.json")]


def files(root):
    """All that a package may leave behind; dpkg's and debconf's own records left out."""
    return set(root.run(
        "find / -xdev \\( -path /proc -o -path /sys -o -path /var/lib/dpkg -o -path /var/cache"
        " -o -path /var/log -o -path /tmp -o -path /packages \\) -prune -o -print;"
        " ls -d /run/vos /dev/shm/* 2>/dev/null || true").splitlines())


def preseed(root, **answers):
    root.run("debconf-set-selections", text="".join(
        f"vos-monitor vos-monitor/{name} {'password' if name == 'secret' else 'string'} {value}\n"
        for name, value in answers.items()))


def active(root):
    return root.run(f"systemctl is-active {UNIT}", check=False).strip()


def main_pid(root):
    return int(root.run(f"systemctl show -p MainPID --value {UNIT}"))


def processes(root):
    return root.run("pgrep -a 'vos_(mon|wat)'", check=False)


def until_active(root, other_than=0):
    until(lambda: active(root) == "active" and main_pid(root) != other_than
          and root.status("vosctl status") == 0, "a healthy node", 60)


def install(root, server):
    preseed(root, id="node-7", public_ip="192.0.2.7", server_url=server.url, datacenter="dc-1",
            secret=SECRET)
    root.run("mkdir /opt/vos")
    root.write("/opt/vos/client.pem", server.pem)
    began = time.monotonic()
    said = root.run("dpkg -i /packages/older.deb")
    conf = root.read(CONF)
    expect(all(text in conf for text in ('vos_id = "node-7"', 'vos_public_ip = "192.0.2.7"',
                                         f'zel_report_url = "{server.url}"',
                                         'datacenter_id = "dc-1"', 'hmac_secret = "v1:')),
           "installation writes vos.conf from preseeded answers", conf + said)
    expect(SECRET not in root.run("cat /var/cache/debconf/*.dat /opt/vos/vos.conf")
           and root.run("stat -c %a /opt/vos/secret.key").strip() == "600",
           "the secret is kept in enciphered form only")
    until(server.accepted, "an accepted report; " + root.read("/opt/vos/vos_monitor.log")[-2000:]
          + root.run(f"systemctl status {UNIT}; journalctl -u {UNIT}", check=False), 60)
    verified(f"first accepted report {time.monotonic() - began:.1f} s after the installation began")
    expect(root.status("vosctl status") == 0, "the node is healthy under the unit")


def check_unit(root):
    first = main_pid(root)
    root.run(f"kill -KILL {first}")
    until_active(root, first)
    verified("a supervisor that is killed is started again")
    first = main_pid(root)
    root.run(f"systemctl reload {UNIT}")
    good = root.read(CONF)
    root.write(CONF, good.replace("report_freq", "report_freq = ", 1))
    refused = root.status(f"systemctl reload {UNIT}") != 0
    root.write(CONF, good)
    expect(refused and main_pid(root) == first and root.status("vosctl status") == 0,
           "systemctl reload refuses a configuration with errors, the daemon goes on")
    root.run("vosctl terminate")
    until(lambda: active(root) == "inactive", "the end of the unit")
    time.sleep(5)
    expect(active(root) == "inactive" and "ExecMainStatus=30" in
           root.run(f"systemctl show {UNIT}"), "vosctl terminate keeps the node down")
    root.run(f"systemctl start {UNIT}")
    until_active(root)


def upgrade_and_downgrade(root):
    root.run("sed -i 's/report_freq = 60000/report_freq = 30000/;"
             f"s/polling_rate_ms = 1000/polling_rate_ms = 250/' {CONF}")
    before = main_pid(root)
    said = root.run("dpkg -i /packages/vos-monitor_*.deb")
    merged = root.read(CONF)
    expect("builtin_commands = true" in merged and "report_freq = 30000" in merged
           and "polling_rate_ms = 250" in merged and 'vos_id = "node-7"' in merged,
           "an upgrade merges the configuration", said + merged)
    until_active(root, before)
    verified("and the unit runs the new version")
    root.run("dpkg -i --force-downgrade /packages/older.deb")
    expect(root.read(CONF) == merged, "a downgrade keeps the configuration")
    root.run("dpkg -i /packages/vos-monitor_*.deb")
    root.run("cd /opt/vos && vosctl check")
    root.run("DEBCONF_RECONFIGURE=1 VOS_ID=x dpkg-reconfigure vos-monitor")
    expect(root.read(CONF) == merged, "a reconfiguration without new answers changes nothing",
           root.read(CONF))


def remove(root, before):
    root.run("dpkg -i /packages/vos-monitor-dbgsym_*.deb")
    said = root.run("dpkg -r vos-monitor-dbgsym vos-monitor")
    expect('vos_id = "node-7"' in root.read(CONF) and not processes(root),
           "removal ends the node and keeps its configuration", said + processes(root))
    root.run("touch /dev/shm/3.91.30 /dev/shm/sem.3.91.30")
    root.run("dpkg -P vos-monitor vos-monitor-dbgsym")
    left = files(root) - before
    expect(not left, "purge leaves nothing", "\n".join(sorted(left)))


def install_without_answers(root):
    preseed(root, server_url="nonsense", public_ip="nowhere")
    said = root.run("dpkg -i /packages/vos-monitor_*.deb")
    conf = root.read(CONF)
    expect(said.count("can not use") == 2 and 'vos_public_ip = "127.0.0.1"' in conf,
           "answers that can not be used are named and left out", said + conf)
    expect("reporting is DISABLED, for want of: server URL, data centre" in said
           and "report_freq = 0" in conf and 'vos_id = "node-7"' in conf,
           "without answers the host's name is the id, and reporting is disabled", said + conf)
    until_active(root)
    verified("and the node runs")


def run_by_hand(root, server):
    """As the unit would: where there is no service manager."""
    preseed(root, secret=SECRET)
    root.run("mkdir /opt/vos")
    root.write("/opt/vos/client.pem", server.pem)
    root.run(f"VOS_SERVER_URL={server.url} VOS_DATACENTER=dc-1 dpkg -i /packages/vos-monitor_*.deb")
    accepted = len(server.accepted())
    root.start("sh -c 'cd /opt/vos && exec bin/vos_watchdog'")
    until(lambda: len(server.accepted()) > accepted, "a report of a node without manager", 60)
    verified("a node without service manager, with answers from the environment, reports")
    root.run("dpkg -P vos-monitor")
    expect(not processes(root) and root.status("ls -d /opt/vos || ls -d /run/vos") != 0,
           "purge ends it and leaves nothing")


@contextlib.contextmanager
def clean_system():
    """In the namespaces of a program's own: its server and, to be called with a name, clean
    systems."""
    packages = os.path.abspath(sys.argv[1])
    package, = glob.glob(packages + "/vos-monitor_*.deb")
    make_base(packages + "/root", package)
    isolate()
    with tempfile.TemporaryDirectory() as work:
        os.mkdir(work + "/packages")
        for path in glob.glob(packages + "/*.deb"):
            shutil.copy(path, work + "/packages")
        make_older(package, work + "/packages")
        server = Server(tempfile.mkdtemp(dir=work))
        started = []

        def start(name, **options):
            started.append(CleanRoot(packages + "/root", work + "/packages", f"{work}/{name}",
                                     **options))
            return started[-1]
        try:
            yield start, server
        finally:
            for root in started:
                root.close()
            server.process.kill()


def main():
    with clean_system() as (start, server):
        root = start("managed")
        before = files(root)
        install(root, server)
        check_unit(root)
        upgrade_and_downgrade(root)
        remove(root, before)
        install_without_answers(root)
        root.close()
        run_by_hand(start("unmanaged", manager=False), server)


if __name__ == "__main__":
    main()
