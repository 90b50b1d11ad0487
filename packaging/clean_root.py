"""A clean Debian system in namespaces and a cgroup of its own, with a service manager as its init.

isolate() moves a program into new network, mount, pid and cgroup namespaces: no packet leaves, and
what the program starts ends with it. A CleanRoot lies over a folder that debootstrap made, which
stays as it is.
"""
import glob
import os
import re
import shlex
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "../harness"))
from node import until  # noqa: E402

SETTINGS = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LC_ALL": "C.UTF-8", "HOME": "/root",
            "DEBIAN_FRONTEND": "noninteractive"}
EXTRAS = ["systemd", "systemd-sysv", "dbus", "logrotate"]

BOOT = r"""set -e
mount -t tmpfs none "$1"
mkdir "$1"/upper "$1"/work "$1"/root
mount -t overlay overlay -o lowerdir="$2",upperdir="$1"/upper,workdir="$1"/work "$1"/root
cd "$1"/root
mount -t proc proc proc
mount --bind proc/sys proc/sys
mount -o remount,bind,ro proc/sys
mount -t sysfs -o ro sysfs sys
mount -t cgroup2 cgroup2 sys/fs/cgroup || mount -t tmpfs none sys/fs/cgroup
mount -t tmpfs none dev
for device in null zero full random urandom tty; do
    touch dev/$device
    mount --bind /dev/$device dev/$device
done
mkdir dev/shm dev/pts old packages
mount -t tmpfs none dev/shm
mount -t devpts -o newinstance,ptmxmode=666 devpts dev/pts
ln -s pts/ptmx dev/ptmx
ln -s /proc/self/fd dev/fd
mount -t tmpfs none run
mount -t tmpfs none tmp
: >etc/resolv.conf
echo '127.0.0.1 localhost node-7' >etc/hosts
echo node-7 >etc/hostname
mount --bind "$3" packages
pivot_root . old
exec chroot . /bin/sh -c 'umount -l /old && rmdir /old; export container=other; exec "$@"' - $4
"""


def cgroup_folder():
    """Where cgroup v2 is mounted; None without."""
    with open("/proc/mounts") as mounts:
        found = [line.split()[1] for line in mounts if line.split()[2] == "cgroup2"]
    return found[0] if found else None


def remove_cgroup(folder):
    for inner in sorted(glob.glob(folder + "/**/", recursive=True), key=len, reverse=True):
        for _ in range(50):
            try:
                os.rmdir(inner)
                break
            except OSError:
                time.sleep(0.1)


def isolate():
    """Runs this program again inside the namespaces and ends with its status; returns there."""
    if os.environ.get("VOS_ISOLATED"):
        subprocess.run(["ip", "link", "set", "lo", "up"], check=True)
        subprocess.run(["hostname", "node-7"], check=True)
        return
    if os.geteuid() != 0:
        sys.exit("a clean root needs a superuser")
    top = cgroup_folder()
    group = f"{top}/vos-package-{os.getpid()}" if top else None

    def enter():
        if group:
            os.mkdir(group)
            with open(group + "/cgroup.procs", "w") as members:
                members.write("0")
    try:
        done = subprocess.run(
            ["unshare", "--cgroup", "--net", "--mount", "--uts", "--ipc", "--pid", "--fork",
             "--kill-child", "--mount-proc", sys.executable] + sys.argv,
            env=dict(os.environ, VOS_ISOLATED="1"), preexec_fn=enter)
    finally:
        if group:
            remove_cgroup(group)
    sys.exit(done.returncode)


def make_base(folder, package):
    """The folder with a minimal system and what the package depends on, if there is none yet.
    debootstrap fetches it from where apt is configured to."""
    if os.path.exists(folder + "/etc/debian_version") and os.path.exists(folder + ".made"):
        return
    depends = subprocess.check_output(["dpkg-deb", "-f", package, "Depends", "Recommends"], text=True)
    names = [re.match(r"[a-z0-9.+-]+", part.strip()).group()
             for line in depends.splitlines() for part in line.split(":", 1)[1].split(",")]
    with open("/etc/os-release") as release:
        suite = re.search(r"VERSION_CODENAME=(\w+)", release.read()).group(1)
    site = subprocess.check_output(["apt-get", "indextargets", "--format", "$(SITE)",
                                    f"Codename: {suite}"], text=True).split()[0]
    print("making", folder, flush=True)
    subprocess.run(["rm", "-rf", folder], check=True)
    subprocess.run(["debootstrap", "--variant=minbase",
                    "--include=" + ",".join(sorted(set(names + EXTRAS))), suite, folder, site],
                   check=True, stdout=subprocess.DEVNULL)
    open(folder + ".made", "w").close()


class CleanRoot:
    """One start of the system: `base` is debootstrap's folder, `packages` a folder that it sees as
    /packages, `work` an empty one. Without `manager` its init does nothing."""

    def __init__(self, base, packages, work, manager=True):
        init = "/lib/systemd/systemd systemd.unit=basic.target" if manager else "/usr/bin/tail -f /dev/null"
        os.makedirs(work, exist_ok=True)
        self.path = os.path.join(work, "root")
        self.boot = subprocess.Popen(
            ["unshare", "--pid", "--mount", "--cgroup", "--fork", "--kill-child",
             "/bin/sh", "-c", BOOT, "-", work, base, packages, init],
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL)
        self.pid = until(self.find_init, "the system's init")
        if manager:
            until(lambda: self.run("systemctl is-active basic.target", check=False).strip()
                  == "active", "the service manager", 60)

    def find_init(self):
        with open(f"/proc/{self.boot.pid}/task/{self.boot.pid}/children") as children:
            found = children.read().split()
        if not found or self.boot.poll() is not None:
            return None
        with open(f"/proc/{found[0]}/comm") as name:
            return name.read().strip() in ("systemd", "tail") and int(found[0])

    def command(self, script):
        return ["nsenter", f"--target={self.pid}", "--mount", "--pid", "--cgroup", "--root", "--wd",
                "/usr/bin/env", "-i"] + [f"{k}={v}" for k, v in SETTINGS.items()] + \
            ["/bin/sh", "-c", script]

    def run(self, script, check=True, text=None):
        """Output and errors of a shell script inside; a failure fails when `check` is set."""
        done = subprocess.run(self.command(script), input=text, text=True, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, stdin=None if text else subprocess.DEVNULL)
        if check and done.returncode != 0:
            raise AssertionError(f"{script}: status {done.returncode}\n{done.stdout}")
        return done.stdout

    def status(self, script):
        return subprocess.run(self.command(script), capture_output=True).returncode

    def start(self, script):
        """A process inside, in the background."""
        return subprocess.Popen(self.command("exec " + script), stdin=subprocess.DEVNULL,
                                stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def read(self, path):
        return self.run("cat " + shlex.quote(path) + " 2>/dev/null", check=False)

    def write(self, path, text):
        self.run("cat >" + shlex.quote(path), text=text)

    def close(self):
        if self.boot.poll() is None:
            self.boot.kill()
            self.boot.wait()
